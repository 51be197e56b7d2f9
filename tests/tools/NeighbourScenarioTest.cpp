// SPDX-License-Identifier: Apache-2.0
#include "SimulatorProcess.h"
#include "support/ipc/Broker.h"
#include "support/ipc/BusPeer.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;

constexpr const char* READY_QUESTION = R"({"name":"AreYouReady","parameters":{},"flag":true})";
constexpr const char* READY = R"({"name":"phoneui","value":true})";

/// A phone with a broker and misbehaving neighbours; the test plays the daemon.
class NeighbourScenarioTest : public testing::Test {
protected:
    /// Options of a simulator with this scenario.
    std::vector<std::string> scenario(const std::string& items) const {
        root_.write("/scenario.json", "{\"neighbours\": [" + items + "]}");
        return {"--scenario", root_.host("/scenario.json")};
    }

    void ask(const std::string& neighbour = "phone-ui") {
        daemon_.publish("prov-client/" + neighbour, READY_QUESTION);
    }

    /// Parameters of the user interface's messages so far, the last one of so many.
    Json::Value answer(std::size_t number) {
        if (!daemon_.waitForCount("phone-ui/prov-client", number))
            return {};
        return parsed(
            daemon_.messages("phone-ui/prov-client").at(number - 1).payload)["parameters"];
    }

    static bool hasNote(const SimulatorProcess& simulator, const std::string& text) {
        return waitUntil([&] {
            const auto events = simulator.events();
            return std::any_of(events.begin(), events.end(), [&](const Json::Value& event) {
                return event["event"] == "note" && event["data"] == text;
            });
        });
    }

    PhoneRoot root_;
    Broker broker_{Broker::Options{.socketPath = root_.host("/run/halden/bus.sock")}};
    BusPeer daemon_{broker_.address()};
};

/// Why a scenario is refused, after the file's name.
std::string refused(const std::string& text) {
    const PhoneRoot root;
    root.write("/scenario.json", text);
    const std::string path = root.host("/scenario.json");
    const Finished finished = run({PHONE_SIMULATOR, "run", "--scenario", path});
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(std::count(finished.output.begin(), finished.output.end(), '\n'), 1);
    const std::string begin = "phone-simulator: " + path + ": ";
    EXPECT_THAT(finished.output, testing::StartsWith(begin));
    return finished.output.substr(std::min(begin.size(), finished.output.size()));
}

} // namespace

TEST_F(NeighbourScenarioTest, AnswersWronglySoManyTimes) {
    const SimulatorProcess simulator(
        scenario(R"({"neighbour": "phone-ui", "message": "AreYouReady", "times": 1,
                     "answer": {"name": 7}})"));
    ask();
    EXPECT_EQ(answer(1), parsed(R"({"name":7})"));
    ask();
    EXPECT_EQ(answer(2), parsed(READY));
    EXPECT_EQ(simulator.waitForEvent("answered", "AreYouReady")["data"], parsed(R"({"name":7})"));
}

TEST_F(NeighbourScenarioTest, Refuses) {
    const SimulatorProcess simulator(scenario(R"({"neighbour": "phone-ui", "refuse": "not now"})"));
    ask();
    EXPECT_EQ(answer(1), parsed(R"({"error":"not now"})"));
    daemon_.publish("prov-client/phone-ui",
                    R"({"name":"GetHttpCredentials","parameters":{},"flag":false})");
    EXPECT_TRUE(hasNote(simulator, "refuses GetHttpCredentials: not now"));
}

TEST_F(NeighbourScenarioTest, TypesOtherCredentials) {
    const SimulatorProcess simulator(scenario(
        R"({"neighbour": "phone-ui", "message": "GetHttpCredentials", "answer": {"username": ""}})"));
    daemon_.publish("prov-client/phone-ui",
                    R"({"name":"GetHttpCredentials","parameters":{},"flag":false})");
    EXPECT_EQ(answer(1), parsed(R"({"username":""})"));
    EXPECT_FALSE(simulator.waitForEvent("sent", "HttpCredentialsEntered").isNull());
}

TEST_F(NeighbourScenarioTest, ALateOneDelaysNoOther) {
    SimulatorProcess simulator(scenario(R"({"neighbour": "phone-ui", "late": 1000})"));
    ask();
    EXPECT_TRUE(hasNote(simulator, "is late with AreYouReady"));
    ask("netmgr");
    EXPECT_TRUE(daemon_.waitForCount("netmgr/prov-client", 1));
    // Nor the end.
    EXPECT_EQ(simulator.process().terminate(), 0);
    EXPECT_TRUE(daemon_.messages("phone-ui/prov-client").empty());
}

TEST_F(NeighbourScenarioTest, ALateOneAnswersInTheEnd) {
    const SimulatorProcess simulator(
        scenario(R"({"neighbour": "phone-ui", "late": 0.3, "times": 1})"));
    const Clock::time_point begin = Clock::now();
    ask();
    EXPECT_EQ(answer(1), parsed(READY));
    EXPECT_GE(Clock::now() - begin, 300ms);
}

TEST_F(NeighbourScenarioTest, CrashesAndComesBack) {
    const SimulatorProcess simulator(
        scenario(R"({"neighbour": "phone-ui", "crash": 0.2, "times": 2})"));
    for (int crash = 0; crash < 2; ++crash)
        EXPECT_TRUE(waitUntil([&] {
            ask(); // it is not there before its time
            const auto events = simulator.events();
            return std::count_if(events.begin(), events.end(), [](const Json::Value& event) {
                       return event["data"] == "crashes at AreYouReady";
                   }) > crash;
        }));
    EXPECT_TRUE(daemon_.messages("phone-ui/prov-client").empty());
    EXPECT_TRUE(waitUntil([&] {
        ask();
        return !daemon_.messages("phone-ui/prov-client").empty();
    }));
    EXPECT_EQ(answer(1), parsed(READY));
    EXPECT_TRUE(hasNote(simulator, "comes to the bus"));
}

TEST_F(NeighbourScenarioTest, ComesLate) {
    const SimulatorProcess simulator(scenario(R"({"neighbour": "phone-ui", "absent": 0.3})"));
    EXPECT_THAT(simulator.events().at(0)["data"].asString(),
                HasSubstr("neighbours: netmgr sip-client sysconf on "));
    EXPECT_TRUE(waitUntil([&] {
        ask();
        return !daemon_.messages("phone-ui/prov-client").empty();
    }));
    EXPECT_EQ(answer(1), parsed(READY));
    EXPECT_TRUE(hasNote(simulator, "comes to the bus"));
}

TEST(NeighbourScenarioFileTest, OneThatIsWrongIsRefusedWithThePlace) {
    EXPECT_THAT(
        refused("{\"neighbours\": [\n{\"neighbour\": \"nobody\"}]}"),
        HasSubstr(R"(Line 2, Column 15: "neighbour": "nobody" is not one of netmgr, phone)"));
    EXPECT_THAT(refused("{\"neighbours\": [{\"dance\": 1}]}"),
                HasSubstr(R"(Line 1, Column 27: "dance": is not known here)"));
    EXPECT_THAT(refused("{\"neighbours\": [{\"late\": 1}]}"),
                HasSubstr("Line 1, Column 17: the neighbour is missing"));
    const auto item = [](const std::string& members) {
        return refused("{\"neighbours\": [{\"neighbour\": \"netmgr\"" + members + "}]}");
    };
    EXPECT_THAT(item(""), HasSubstr("one of absent, answer, crash, late and refuse is missing"));
    EXPECT_THAT(item(R"(, "late": "soon")"), HasSubstr("has to be a number of seconds"));
    EXPECT_THAT(item(R"(, "late": 1, "times": 0)"), HasSubstr("has to be 1 or more"));
    EXPECT_THAT(item(R"(, "absent": 1, "crash": 1)"), HasSubstr("absent stands alone"));
    EXPECT_THAT(item(R"(, "refuse": "x", "crash": 1)"), HasSubstr("only one of answer, crash"));
    EXPECT_THAT(item(R"(, "answer": 3, "message": "AreYouReady")"),
                HasSubstr("has to be an object"));
    EXPECT_THAT(item(R"(, "answer": {})"), HasSubstr("answer needs a message that is answered"));
    EXPECT_THAT(item(R"(, "late": 1, "message": "GetHttpCredentials")"),
                HasSubstr(R"(netmgr gets no message "GetHttpCredentials")"));
}
