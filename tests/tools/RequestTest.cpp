// SPDX-License-Identifier: Apache-2.0
#include "SimulatorProcess.h"
#include "support/ipc/Broker.h"
#include "support/ipc/BusPeer.h"
#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// "phone-simulator trigger" and "busy"; the test plays the daemon.
class RequestTest : public testing::Test {
protected:
    /// Starts the program and waits for its message to the daemon.
    Json::Value startAndReceive(std::vector<std::string> arguments,
                                const std::string& sender = "auto-reboot") {
        arguments.insert(arguments.begin(), PHONE_SIMULATOR);
        process_.emplace(arguments, root_.host("/output"));
        if (!daemon_.waitForCount(sender + "/prov-client", 1))
            return {};
        return parsed(daemon_.messages(sender + "/prov-client").at(0).payload);
    }

    std::string output() const { return root_.read("/output"); }

    PhoneRoot root_;
    Broker broker_{Broker::Options{.socketPath = root_.host("/run/halden/bus.sock")}};
    BusPeer daemon_{broker_.address()};
    std::optional<ChildProcess> process_;
};

} // namespace

TEST_F(RequestTest, TriggerSendsTheUrlAndExpectsNoAnswer) {
    EXPECT_EQ(startAndReceive({"trigger", "--url", "https://host/%MACD.xml"}),
              parsed(R"({"name":"startProvisioning",)"
                     R"("parameters":{"location":"https://host/%MACD.xml"},"flag":false})"));
    EXPECT_EQ(process_->wait(), 0) << output();
    EXPECT_NE(output().find("startProvisioning"), std::string::npos) << output();
}

TEST_F(RequestTest, TriggerShowsTheAnswerWhenAsked) {
    EXPECT_EQ(startAndReceive({"trigger", "--url", "https://host/f", "--answer"})["flag"], true);
    daemon_.publish("prov-client/auto-reboot",
                    R"({"name":"startProvisioningResponse","parameters":{},"flag":false})");
    EXPECT_EQ(process_->wait(), 0) << output();
    EXPECT_NE(output().find("received  startProvisioningResponse"), std::string::npos) << output();
}

TEST_F(RequestTest, ARefusedRequestIsAFindingWithTheDaemonsWords) {
    startAndReceive({"trigger", "--url", "https://host/f", "--answer"});
    daemon_.publish(
        "prov-client/auto-reboot",
        R"({"name":"startProvisioningResponse",)"
        R"("parameters":{"error":"wrong parameter requested [location]"},"flag":false})");
    EXPECT_EQ(process_->wait(), 1) << output();
    EXPECT_NE(output().find("wrong parameter requested [location]"), std::string::npos) << output();
}

TEST_F(RequestTest, TriggerSpeaksInAnotherNeighboursName) {
    EXPECT_EQ(startAndReceive({"trigger", "--url", "https://host/f", "--from", "watchdog"},
                              "watchdog")["name"],
              "startProvisioning");
    EXPECT_EQ(process_->wait(), 0) << output();
}

TEST_F(RequestTest, ADaemonThatIsIdleGivesStatusZero) {
    EXPECT_EQ(startAndReceive({"busy"}),
              parsed(R"({"name":"AreYouBusy","parameters":{},"flag":true})"));
    daemon_.publish("prov-client/auto-reboot",
                    R"({"name":"AreYouBusyResponse","parameters":{"isBusy":false},"flag":false})");
    EXPECT_EQ(process_->wait(), 0) << output();
    EXPECT_NE(output().find("isBusy=false"), std::string::npos) << output();
}

TEST_F(RequestTest, ADaemonThatIsBusyGivesStatusOne) {
    startAndReceive({"busy"});
    daemon_.publish("prov-client/auto-reboot",
                    R"({"name":"AreYouBusyResponse","parameters":{"isBusy":true},"flag":false})");
    EXPECT_EQ(process_->wait(), 1) << output();
    EXPECT_NE(output().find("isBusy=true"), std::string::npos) << output();
}

TEST_F(RequestTest, AnAnswerThatSaysNothingIsAFailure) {
    startAndReceive({"busy"});
    daemon_.publish("prov-client/auto-reboot",
                    R"({"name":"AreYouBusyResponse","parameters":{},"flag":false})");
    EXPECT_EQ(process_->wait(), 3) << output();
    EXPECT_NE(output().find("[isBusy]"), std::string::npos) << output();
}

TEST_F(RequestTest, OtherMessagesAreNotTakenForTheAnswer) {
    startAndReceive({"busy"});
    daemon_.publish("prov-client/auto-reboot",
                    R"({"name":"startProvisioningResponse","parameters":{},"flag":false})");
    daemon_.publish("prov-client/auto-reboot",
                    R"({"name":"AreYouBusyResponse","parameters":{"isBusy":true},"flag":false})");
    EXPECT_EQ(process_->wait(), 1) << output();
}

TEST_F(RequestTest, JsonIsOneObjectALine) {
    startAndReceive({"busy", "--json"});
    daemon_.publish("prov-client/auto-reboot",
                    R"({"name":"AreYouBusyResponse","parameters":{"isBusy":false},"flag":false})");
    EXPECT_EQ(process_->wait(), 0) << output();
    const std::string text = output();
    const auto end = text.find('\n');
    const Json::Value sent = parsed(text.substr(0, end));
    const Json::Value received = parsed(text.substr(end + 1));
    EXPECT_EQ(sent["event"], "sent");
    EXPECT_EQ(sent["name"], "AreYouBusy");
    EXPECT_EQ(received["event"], "received");
    EXPECT_EQ(received["name"], "AreYouBusyResponse");
    EXPECT_EQ(received["data"]["isBusy"], false);
}

TEST_F(RequestTest, ADaemonThatDoesNotAnswerIsAFailureAfterTheTimeout) {
    const Finished finished = run({PHONE_SIMULATOR, "busy", "--timeout", "0.2"});
    EXPECT_EQ(finished.status, 3);
    EXPECT_NE(finished.output.find("no answer to AreYouBusy in time"), std::string::npos)
        << finished.output;
}

TEST_F(RequestTest, AnErrorDoesNotSayThatTheDaemonIsBusy) {
    startAndReceive({"busy"});
    daemon_.publish(
        "prov-client/auto-reboot",
        R"({"name":"AreYouBusyResponse","parameters":{"error":"no idea"},"flag":false})");
    EXPECT_EQ(process_->wait(), 3) << output();
    EXPECT_NE(output().find("no idea"), std::string::npos) << output();
}

TEST_F(RequestTest, AFullDiskIsAFailure) {
    const Finished finished = run(
        {"sh", "-c", std::string(PHONE_SIMULATOR) + " trigger --url https://host/f > /dev/full"});
    EXPECT_EQ(finished.status, 3);
    EXPECT_EQ(finished.output,
              "phone-simulator: cannot write the output: No space left on device\n");
}

TEST(RequestFailureTest, ABusAddressThatIsNoneIsMisuse) {
    const PhoneRoot root;
    const Finished finished = run({PHONE_SIMULATOR, "busy"}, {{"HALDEN_BUS", "carrier pigeon"}});
    EXPECT_EQ(finished.status, 2);
    EXPECT_NE(finished.output.find("carrier pigeon"), std::string::npos) << finished.output;
}

TEST(RequestFailureTest, ABusThatIsNotThereIsAFailureAfterTheTimeout) {
    const PhoneRoot root;
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"busy"}, {"trigger", "--url", "https://host/f"}}) {
        std::vector<std::string> arguments{PHONE_SIMULATOR};
        arguments.insert(arguments.end(), command.begin(), command.end());
        arguments.insert(arguments.end(), {"--timeout", "0.05"});
        const Finished finished = run(arguments);
        EXPECT_EQ(finished.status, 3);
        EXPECT_NE(finished.output.find("bus.sock cannot be reached"), std::string::npos)
            << finished.output;
    }
}
