// SPDX-License-Identifier: Apache-2.0
#include "SimulatorProcess.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/ipc/Broker.h"
#include "support/ipc/BusPeer.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <string>

namespace {

constexpr const char* READY_QUESTION = R"({"name":"AreYouReady","parameters":{},"flag":true})";

/// A phone with a broker; the test plays the daemon.
class PhoneSimulatorTest : public testing::Test {
protected:
    /// Asks a neighbour whether it is ready and returns its answer.
    Json::Value readiness(const std::string& neighbour) {
        const std::string answers = neighbour + "/prov-client";
        const std::size_t before = daemon_.messages(answers).size();
        daemon_.publish("prov-client/" + neighbour, READY_QUESTION);
        if (!daemon_.waitForCount(answers, before + 1))
            return {};
        return parsed(daemon_.messages(answers).at(before).payload);
    }

    static std::string path(const PhoneRoot& root) { return root.host("/run/halden/bus.sock"); }

    PhoneRoot root_;
    Broker broker_{Broker::Options{.socketPath = path(root_)}};
    BusPeer daemon_{broker_.address()};
};

/// As PhoneSimulatorTest::readiness() returns it.
Json::Value answer(const std::string& name, bool value) {
    Json::Value message(Json::objectValue);
    message["name"] = "AreYouReadyResponse";
    message["parameters"]["name"] = name;
    message["parameters"]["value"] = value;
    message["flag"] = false;
    return message;
}

} // namespace

TEST_F(PhoneSimulatorTest, NetworkManagerAndUserInterfaceSayThatTheyAreReady) {
    const SimulatorProcess simulator;
    EXPECT_EQ(readiness("netmgr"), answer("networkmanager", true));
    EXPECT_EQ(readiness("phone-ui"), answer("phoneui", true));
}

TEST_F(PhoneSimulatorTest, OneOfThemIsNotReady) {
    const SimulatorProcess simulator({"--not-ready", "phone-ui"});
    EXPECT_EQ(readiness("netmgr"), answer("networkmanager", true));
    EXPECT_EQ(readiness("phone-ui"), answer("phoneui", false));
}

TEST_F(PhoneSimulatorTest, BothAreNotReadyBeforeTheirTime) {
    const SimulatorProcess simulator({"--ready-after", "1000"});
    EXPECT_EQ(readiness("netmgr"), answer("networkmanager", false));
    EXPECT_EQ(readiness("phone-ui"), answer("phoneui", false));
}

TEST_F(PhoneSimulatorTest, TheyBecomeReadyWhenTheirTimeHasCome) {
    const SimulatorProcess simulator({"--ready-after", "0.3"});
    EXPECT_TRUE(waitUntil([&] { return readiness("netmgr") == answer("networkmanager", true); }));
}

TEST_F(PhoneSimulatorTest, ASilentNeighbourIsNotOnTheBus) {
    SimulatorProcess simulator({"--silent", "phone-ui"});
    EXPECT_EQ(simulator.events().at(0)["data"],
              "neighbours: netmgr sip-client sysconf on " + broker_.address());
    daemon_.publish("prov-client/phone-ui", READY_QUESTION);
    EXPECT_EQ(readiness("netmgr"), answer("networkmanager", true));
    EXPECT_EQ(simulator.process().terminate(), 0);
    EXPECT_TRUE(daemon_.messages("phone-ui/prov-client").empty());
}

TEST_F(PhoneSimulatorTest, QuestionsAndAnswersAreShown) {
    const SimulatorProcess simulator;
    readiness("phone-ui");
    const Json::Value question = simulator.waitForEvent("received", "AreYouReady");
    EXPECT_EQ(question["who"], "phone-ui");
    EXPECT_EQ(question["data"], Json::Value(Json::objectValue));
    const Json::Value shown = simulator.waitForEvent("answered", "AreYouReady");
    EXPECT_EQ(shown["who"], "phone-ui");
    EXPECT_EQ(shown["data"], answer("phoneui", true)["parameters"]);
}

TEST_F(PhoneSimulatorTest, TheUserInterfaceTypesTheCredentialsIn) {
    const SimulatorProcess simulator({"--http-user", "alice", "--http-password", "sesame"});
    daemon_.publish("prov-client/phone-ui",
                    R"({"name":"GetHttpCredentials","parameters":{},"flag":false})");
    ASSERT_TRUE(daemon_.waitForCount("phone-ui/prov-client", 1));
    EXPECT_EQ(parsed(daemon_.messages("phone-ui/prov-client").at(0).payload),
              parsed(R"({"name":"HttpCredentialsEntered",)"
                     R"("parameters":{"username":"alice","password":"sesame"},"flag":false})"));

    const Json::Value sent = simulator.waitForEvent("sent", "HttpCredentialsEntered");
    EXPECT_EQ(sent["data"]["username"], "alice");
    EXPECT_EQ(sent["data"]["password"], "***");
    EXPECT_EQ(simulator.output().find("sesame"), std::string::npos);
}

TEST_F(PhoneSimulatorTest, WithoutCredentialsTheUserInterfaceSaysThatNobodyTypes) {
    SimulatorProcess simulator;
    daemon_.publish("prov-client/phone-ui",
                    R"({"name":"GetHttpCredentials","parameters":{},"flag":false})");
    EXPECT_EQ(simulator.waitForEvent("received", "GetHttpCredentials")["who"], "phone-ui");
    EXPECT_TRUE(waitUntil([&] {
        const auto events = simulator.events();
        return events.back()["event"] == "note" && events.back()["who"] == "phone-ui";
    }));
    EXPECT_EQ(simulator.process().terminate(), 0);
    EXPECT_TRUE(daemon_.messages("phone-ui/prov-client").empty());
}

TEST_F(PhoneSimulatorTest, SipClientAndSystemConfigurationShowWhatTheyReceive) {
    const SimulatorProcess simulator;
    daemon_.publish(
        "prov-client/sip-client",
        R"({"name":"provisioningStatus","parameters":{"provInProgress":true},"flag":false})");
    daemon_.publish("prov-client/sip-client",
                    R"({"name":"update_tls_security","parameters":{},"flag":false})");
    daemon_.publish("prov-client/sysconf",
                    R"({"name":"MODIFY_CERTIFICATES","parameters":{"certificates":)"
                    R"([{"operation":"Accept","name":"ca.pem"}]},"flag":false})");

    const Json::Value status = simulator.waitForEvent("received", "provisioningStatus");
    EXPECT_EQ(status["who"], "sip-client");
    EXPECT_EQ(status["data"], parsed(R"({"provInProgress":true})"));
    EXPECT_EQ(simulator.waitForEvent("received", "update_tls_security")["who"], "sip-client");
    const Json::Value certificates = simulator.waitForEvent("received", "MODIFY_CERTIFICATES");
    EXPECT_EQ(certificates["who"], "sysconf");
    EXPECT_EQ(certificates["data"]["certificates"][0]["name"], "ca.pem");
}

TEST_F(PhoneSimulatorTest, TheOutcomeOfProvisioningIsWatchedInTheStore) {
    const SimulatorProcess simulator;
    const propertyapi::SqlitePropertyApi store;
    store.setValue("State.Provisioning.InProgress", "1");
    store.setValue("State.Provisioning", "success");
    EXPECT_EQ(simulator.waitForEvent("changed", "State.Provisioning.InProgress")["data"], "1");
    const Json::Value outcome = simulator.waitForEvent("changed", "State.Provisioning");
    EXPECT_EQ(outcome["who"], "store");
    EXPECT_EQ(outcome["data"], "success");
}

TEST_F(PhoneSimulatorTest, OnlyTheKeysNamedAreWatchedAndEachChangeIsShownOnce) {
    const SimulatorProcess simulator(
        {"--watch", "Time.Zone", "--watch", "Last", "--watch", "Time.Zone"});
    const propertyapi::SqlitePropertyApi store;
    store.setValue("State.Provisioning", "success");
    store.setValue("Time.Zone", "UTC");
    store.setValue("Last", "1");
    EXPECT_FALSE(simulator.waitForEvent("changed", "Last").isNull());
    std::vector<std::string> keys;
    for (const Json::Value& event : simulator.events()) {
        if (event["event"] == "changed")
            keys.push_back(event["name"].asString());
    }
    EXPECT_THAT(keys, testing::ElementsAre("Time.Zone", "Last"));
}

TEST_F(PhoneSimulatorTest, AWatchedPasswordIsNotShown) {
    const SimulatorProcess simulator({"--watch", "System.Security.HTTPAuthPassword"});
    const propertyapi::SqlitePropertyApi store;
    store.setValue("System.Security.HTTPAuthPassword", "sesame");
    EXPECT_EQ(simulator.waitForEvent("changed", "System.Security.HTTPAuthPassword")["data"], "***");
}

class SimulatorSignalTest : public PhoneSimulatorTest, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(All, SimulatorSignalTest, testing::Values(SIGTERM, SIGINT));

TEST_P(SimulatorSignalTest, EndsItInOrder) {
    SimulatorProcess simulator;
    simulator.process().signal(GetParam());
    EXPECT_EQ(simulator.process().wait(), 0);
}

TEST(PhoneSimulatorFailureTest, ABusThatIsNotThereYetIsMentioned) {
    const PhoneRoot root;
    const Finished finished = run({PHONE_SIMULATOR, "run", "--timeout", "0.05"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_NE(finished.output.find("bus.sock, which is not there yet"), std::string::npos)
        << finished.output;
}

TEST_F(PhoneSimulatorTest, ItEndsByItselfWhenItsTimeIsOver) {
    SimulatorProcess simulator({"--timeout", "0.05"});
    EXPECT_EQ(simulator.process().wait(), 0);
}

TEST_F(PhoneSimulatorTest, ItEndsWhenNobodyReadsItsOutput) {
    // The reader goes after the first line; what happens next has no reader any more.
    ChildProcess pipeline({"sh", "-c", PHONE_SIMULATOR " run --watch Key | head -n 1"},
                          root_.host("/output"));
    ASSERT_TRUE(waitUntil([&] { return root_.read("/output").find('\n') != std::string::npos; }));
    const propertyapi::SqlitePropertyApi store;
    int value = 0;
    // The first change may still find a reader.
    EXPECT_TRUE(waitUntil([&] {
        store.setValue("Key", std::to_string(++value));
        return !pipeline.isRunning();
    }));
}

TEST_F(PhoneSimulatorTest, ItEndsWhenItsOutputCannotBeWritten) {
    for (const char* arguments : {"run --timeout 60", "--help", "run --help", "--version"}) {
        const Finished finished =
            run({"sh", "-c", std::string(PHONE_SIMULATOR) + " " + arguments + " > /dev/full"});
        EXPECT_EQ(finished.status, 3) << arguments;
        EXPECT_EQ(finished.output,
                  "phone-simulator: cannot write the output: No space left on device\n");
    }
}

TEST(PhoneSimulatorFailureTest, AStoreThatCannotBeOpenedIsOneClearLine) {
    const PhoneRoot root;
    root.write("/data", "a file where a directory should be");
    const Finished finished = run({PHONE_SIMULATOR, "run"});
    EXPECT_EQ(finished.status, 3);
    EXPECT_NE(finished.output.find("phone-simulator: "), std::string::npos) << finished.output;
    EXPECT_NE(finished.output.find("properties.db"), std::string::npos) << finished.output;
}

TEST(PhoneSimulatorFailureTest, ABusAddressThatIsNoneIsOneClearLine) {
    const PhoneRoot root;
    const Finished finished = run({PHONE_SIMULATOR, "run"}, {{"HALDEN_BUS", "carrier pigeon"}});
    EXPECT_EQ(finished.status, 2);
    EXPECT_NE(finished.output.find("carrier pigeon"), std::string::npos) << finished.output;
}
