// SPDX-License-Identifier: Apache-2.0
#include "RecordingApplication.h"
#include "support/ipc/Broker.h"
#include "support/ipc/BusPeer.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr const char* TO_APPLICATION = "tester/recorder";
constexpr const char* TO_TESTER = "recorder/tester";

std::string request(const std::string& name, const std::string& parameters = "{}") {
    return R"({"name": ")" + name + R"(", "parameters": )" + parameters + R"(, "flag": true})";
}

/// An application on the bus below its root, where the framework looks for it by itself.
class Bus : public testing::Test {
protected:
    Bus() { application.hooks.topics = {TO_APPLICATION}; }

    std::size_t answers(const std::string& name) const {
        const auto all = peer.messages(TO_TESTER);
        return static_cast<std::size_t>(
            std::count_if(all.begin(), all.end(), [&](const BusPeer::Message& message) {
                return message.payload.find("\"" + name + "Response\"") != std::string::npos;
            }));
    }
    bool waitForConnection() const {
        return waitUntil([&] { return application.bus()->isConnected(); });
    }

    const PhoneRoot phone;
    const LogRecorder log;
    Broker broker{Broker::Options{.socketPath = phone.host("/run/halden/bus.sock")}};
    BusPeer peer{broker.address()};
    RecordingApplication application;
};

TEST_F(Bus, RequestsAreAnsweredAndProceduresRun) {
    std::atomic<int> procedures = 0;
    application.hooks.handlers = [](ipc::HandlersMap& handlers) {
        handlers["Ping"] = [](const ipc::IpcMsgParams& params) {
            return params;
        };
    };
    application.hooks.procedures = [&](ipc::ProceduresMap& table) {
        table["Note"] = [&](const ipc::IpcMsgParams&) {
            ++procedures;
        };
    };
    const Execution execution(application);
    ASSERT_TRUE(execution.waitFor("waitForTermination"));
    ASSERT_TRUE(waitForConnection());
    peer.publish(TO_APPLICATION, request("Ping", R"({"text": "hello"})"));
    const auto answer = peer.waitFor([](const BusPeer::Message& message) {
        return message.payload.find("PingResponse") != std::string::npos;
    });
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->topic, TO_TESTER);
    EXPECT_THAT(answer->payload, testing::HasSubstr("hello"));
    peer.publish(TO_APPLICATION, R"({"name": "Note", "parameters": {}, "flag": false})");
    EXPECT_TRUE(waitUntil([&] { return procedures == 1; }));
}

TEST_F(Bus, ARequestDuringSetupWaitsAndIsServedAfterIt) {
    std::atomic<bool> served = false;
    bool servedDuringSetup = true;
    application.hooks.handlers = [&](ipc::HandlersMap& handlers) {
        handlers["Ping"] = [&](const ipc::IpcMsgParams& params) {
            served = true;
            return params;
        };
    };
    application.hooks.setup = [&] {
        ASSERT_TRUE(waitForConnection());
        peer.publish(TO_APPLICATION, request("Ping"));
        // The broker has passed the request on before it takes this.
        application.bus()->publish(TO_TESTER, ipc::IPCMessage("Marker"));
        ASSERT_TRUE(peer.waitForCount(TO_TESTER, 1));
        servedDuringSetup = served;
    };
    const Execution execution(application);
    EXPECT_TRUE(waitUntil([&] { return answers("Ping") == 1; }));
    EXPECT_FALSE(servedDuringSetup);
    EXPECT_TRUE(served);
}

TEST_F(Bus, RequestsAndPostedTasksRunOneAtATimeAndRequestsInTheirOrder) {
    constexpr int EACH = 40;
    // Neither is synchronised: all of it happens on one thread.
    std::vector<std::string> requests;
    std::vector<std::thread::id> threads;
    std::atomic<bool> isInside = false;
    std::atomic<bool> overlapped = false;
    std::atomic<int> done = 0;
    const auto step = [&] {
        overlapped = overlapped || isInside.exchange(true);
        threads.push_back(std::this_thread::get_id());
        std::this_thread::yield();
        isInside = false;
        ++done;
    };
    application.hooks.handlers = [&](ipc::HandlersMap& handlers) {
        handlers["Step"] = [&](const ipc::IpcMsgParams& params) {
            requests.push_back(params.get<std::string>("number"));
            step();
            return ipc::IpcMsgParams();
        };
    };
    Execution execution(application);
    ASSERT_TRUE(execution.waitFor("waitForTermination"));
    ASSERT_TRUE(waitForConnection());
    std::thread poster([&] {
        for (int task = 0; task < EACH; ++task)
            application.messages()->post(step);
    });
    std::vector<std::string> expected;
    for (int number = 0; number < EACH; ++number) {
        expected.push_back(std::to_string(number));
        peer.publish(TO_APPLICATION,
                     request("Step", R"({"number": ")" + expected.back() + R"("})"));
    }
    poster.join();
    EXPECT_TRUE(waitUntil([&] { return done == 2 * EACH; }));
    application.signalTermination();
    execution.join();
    EXPECT_FALSE(overlapped);
    EXPECT_EQ(requests, expected);
    EXPECT_EQ(std::count(threads.begin(), threads.end(), threads.front()), 2 * EACH);
}

TEST_F(Bus, ARequestThatRunsAtTheEndIsStillAnswered) {
    std::atomic<bool> begun = false;
    application.hooks.handlers = [&](ipc::HandlersMap& handlers) {
        handlers["Long"] = [&](const ipc::IpcMsgParams& params) {
            begun = true;
            waitUntil([&] { return application.getTerminationFlag(); });
            return params;
        };
    };
    Execution execution(application);
    ASSERT_TRUE(execution.waitFor("waitForTermination"));
    ASSERT_TRUE(waitForConnection());
    peer.publish(TO_APPLICATION, request("Long"));
    ASSERT_TRUE(waitUntil([&] { return begun.load(); }));
    application.signalTermination();
    execution.join();
    EXPECT_TRUE(waitUntil([&] { return answers("Long") == 1; }));
}

TEST_F(Bus, WhatTheServicesMembersPublishWhenTheyGoIsSent) {
    /// A member that has something to say when the service goes, as a run that is cut short.
    struct Member {
        std::shared_ptr<ipc::IIPCClient> bus;
        ~Member() { bus->publish(TO_TESTER, ipc::IPCMessage("Last")); }
    };
    struct Service : RecordingApplication {
        std::unique_ptr<Member> member;
    };
    std::shared_ptr<ipc::IIPCClient> bus;
    {
        Service service;
        service.hooks.waitForTermination = [&] {
            bus = service.bus();
            ASSERT_TRUE(waitUntil([&] { return bus->isConnected(); }));
            service.member = std::make_unique<Member>(Member{bus});
            service.signalTermination();
        };
        service.exec();
        EXPECT_TRUE(bus->isConnected()) << "the members have not gone yet";
    }
    EXPECT_TRUE(peer.waitForCount(TO_TESTER, 1));
    EXPECT_FALSE(bus->isConnected());
}

TEST_F(Bus, WhatWasPublishedBeforeTheEndIsSent) {
    application.hooks.waitForTermination = [&] {
        ASSERT_TRUE(waitForConnection());
        application.bus()->publish(TO_TESTER, ipc::IPCMessage("Last"));
        application.signalTermination();
    };
    application.exec();
    EXPECT_TRUE(peer.waitForCount(TO_TESTER, 1));
}

TEST(BusAddress, HaldenBusNamesTheBroker) {
    const PhoneRoot phone;
    const LogRecorder log;
    const Broker broker(Broker::Options{.tcp = true});
    ::setenv("HALDEN_BUS", broker.tcpAddress().c_str(), 1);
    {
        RecordingApplication application;
        const Execution execution(application);
        EXPECT_TRUE(execution.waitFor("waitForTermination"));
        EXPECT_TRUE(waitUntil([&] { return application.bus()->isConnected(); }));
    }
    ::unsetenv("HALDEN_BUS");
}

TEST(BusAddress, AMalformedOneEndsTheStart) {
    const PhoneRoot phone;
    const LogRecorder log;
    ::setenv("HALDEN_BUS", "serial:/dev/ttyS0", 1);
    {
        RecordingApplication application;
        EXPECT_THROW(application.exec(), std::runtime_error);
        EXPECT_TRUE(application.wasCalled("cleanup"));
        EXPECT_FALSE(application.wasCalled("setup"));
    }
    ::unsetenv("HALDEN_BUS");
}

} // namespace
