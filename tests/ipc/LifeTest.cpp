// SPDX-License-Identifier: Apache-2.0
#include "BusHarness.h"
#include "ipc/mosquitto/Payload.h"
#include "support/process/WaitUntil.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <csignal>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <thread>

namespace {

using ipc::IPCMessage;
using ipc::IpcMsgParams;
using Clock = std::chrono::steady_clock;

class Life : public BusTest {};

TEST_F(Life, MalformedAddressNameOrTopicIsNamed) {
    const auto errorOf = [this](const std::string& address, const std::string& name,
                                const std::string& topic) -> std::string {
        try {
            const ipc::MosquittoIpcClient wrong(address, name, {topic}, messageThread);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "made";
    };
    EXPECT_THAT(errorOf("tcp:host", "prov-client", "a/b"), testing::HasSubstr("\"tcp:host\""));
    EXPECT_THAT(errorOf(broker.address(), "", "a/b"), testing::HasSubstr("name \"\""));
    EXPECT_THAT(errorOf(broker.address(), "a\xff", "a/b"), testing::HasSubstr("name"));
    EXPECT_THAT(errorOf(broker.address(), "prov-client", "a/#/b"),
                testing::HasSubstr("topic \"a/#/b\""));
    EXPECT_THAT(errorOf(broker.address(), "prov-client", ""), testing::HasSubstr("topic \"\""));
}

TEST_F(Life, CloseSendsWhatWasPublishedBefore) {
    connect();
    for (int number = 0; number < 500; ++number)
        client->publish("prov-client/netmgr", IPCMessage("message"));
    client->close();
    EXPECT_TRUE(peer.waitForCount("prov-client/netmgr", 500));
    EXPECT_FALSE(log.mentions("dropped"));
}

TEST_F(Life, CloseRightAfterTheStartSendsToo) {
    makeClient(broker.address());
    client->publish("prov-client/netmgr", IPCMessage("message"));
    client->close();
    EXPECT_TRUE(peer.waitForCount("prov-client/netmgr", 1));
}

TEST_F(Life, CloseSendsDisconnect) {
    connect();
    client->close();
    EXPECT_TRUE(waitUntil([this] {
        const std::string text = broker.log();
        const auto name = text.find("Client prov-client-");
        return name != std::string::npos && text.find(" disconnected.", name) == name + 27;
    })) << broker.log();
}

TEST_F(Life, CloseWithoutABrokerIsQuickAndSaysWhatIsLost) {
    broker.stop();
    ipc::BusSettings settings = quickSettings();
    settings.reconnectFirst = std::chrono::hours(1);
    settings.reconnectLast = std::chrono::hours(1);
    settings.stopTimeout = std::chrono::hours(1);
    makeClient(broker.address(), settings);
    client->publish("prov-client/netmgr", IPCMessage("1"));
    client->publish("prov-client/netmgr", IPCMessage("2"));
    client->close();
    EXPECT_TRUE(log.has(2, "Connection to the bus ends, 2 waiting message(s) dropped"));
}

TEST_F(Life, CloseSendsToABrokerThatIsBackSinceTheLastAttempt) {
    broker.stop();
    ipc::BusSettings settings = quickSettings();
    settings.reconnectFirst = std::chrono::hours(1);
    settings.reconnectLast = std::chrono::hours(1);
    makeClient(broker.address(), settings);
    ASSERT_TRUE(log.waitFor(2, "Bus away: " + broker.address() + ": No such file or directory"));
    client->publish("prov-client/netmgr", IPCMessage("1"));
    broker.start();
    const BusPeer observer(broker.address(), {"#", true});
    client->close();
    EXPECT_TRUE(observer.waitForCount("prov-client/netmgr", 1));
    EXPECT_FALSE(log.mentions("dropped"));
}

TEST_F(Life, CloseGivesUpABrokerThatDoesNotTakeTheMessages) {
    ipc::BusSettings settings = quickSettings();
    settings.stopTimeout = std::chrono::milliseconds(100);
    connect(settings);
    broker.freeze();
    client->publish("prov-client/netmgr", IPCMessage("1"));
    const auto begin = Clock::now();
    client->close();
    const auto duration = Clock::now() - begin;
    EXPECT_GE(duration, std::chrono::milliseconds(100));
    EXPECT_LT(duration, std::chrono::seconds(5));
    EXPECT_TRUE(log.has(2, "Connection to the bus ends, 1 waiting message(s) dropped"));
}

TEST_F(Life, CloseGivesUpABrokerThatDoesNotLetItIn) {
    ipc::BusSettings settings = quickSettings();
    settings.stopTimeout = std::chrono::milliseconds(100);
    broker.freeze();
    makeClient(broker.address(), settings);
    client->publish("prov-client/netmgr", IPCMessage("1"));
    client->close();
    EXPECT_TRUE(log.has(2, "Connection to the bus ends, 1 waiting message(s) dropped"));
}

TEST_F(Life, CloseFromSeveralThreadsReturnsAfterTheEndToEach) {
    connect();
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this] {
            client->close();
            EXPECT_FALSE(client->isConnected());
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(Life, TheAnswerOfTheHandlerThatCloseWaitsForIsStillSent) {
    connect();
    std::promise<void> started;
    std::promise<void> released;
    client->activate({{"slow",
                       [&](const IpcMsgParams& params) {
                           started.set_value();
                           released.get_future().wait();
                           return params;
                       }}},
                     {});
    peer.publish("netmgr/prov-client", payload("slow", true));
    started.get_future().wait();
    auto closed = std::async(std::launch::async, [this] { client->close(); });
    released.set_value();
    closed.get();
    EXPECT_TRUE(peer.waitForCount("prov-client/netmgr", 1));
}

TEST_F(Life, MayBeDestroyedWithRequestsOnTheWay) {
    for (int turn = 0; turn < 10; ++turn) {
        connect();
        activateEcho();
        std::thread requests([this] {
            for (int number = 0; number < 20; ++number)
                peer.publish("netmgr/prov-client", payload("echo", true));
        });
        client.reset();
        requests.join();
    }
}

TEST_F(Life, TwoClientsOfOneNameDoNotDriveEachOtherOut) {
    connect();
    ipc::MosquittoIpcClient second(broker.address(), "prov-client", {}, messageThread,
                                   quickSettings());
    ASSERT_TRUE(waitUntil([&second] { return second.isConnected(); }));
    second.publish("prov-client/netmgr", IPCMessage("second"));
    client->publish("prov-client/netmgr", IPCMessage("first"));
    EXPECT_TRUE(peer.waitForCount("prov-client/netmgr", 2));
    EXPECT_FALSE(log.mentions("Bus away"));
}

TEST_F(Life, TheNetworkThreadTakesNoSignals) {
    // SIGPIPE least of all: the library's writes raise it when the broker goes at that moment.
    connect();
    const std::string blocked = threadStatus("bus", "SigBlk");
    ASSERT_FALSE(blocked.empty());
    const unsigned long long mask = std::stoull(blocked, nullptr, 16);
    for (const int signal : {SIGPIPE, SIGTERM, SIGINT, SIGCHLD})
        EXPECT_NE(mask & (1ULL << (signal - 1)), 0U) << signal;
}

/// Sockets of this process that are connected to a path, and how many of them programs that it runs
/// would inherit.
struct Sockets {
    int connected = 0;
    int inherited = 0;
};
Sockets socketsTo(const std::string& path) {
    Sockets result;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename().string());
        sockaddr_un address{};
        socklen_t size = sizeof address;
        if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
            address.sun_family != AF_UNIX || path != address.sun_path)
            continue;
        ++result.connected;
        if ((::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0)
            ++result.inherited;
    }
    return result;
}

TEST(LifeSocket, IsNotInheritedByProgramsThatTheProcessRuns) {
    const LogRecorder log;
    Broker broker;
    ipc::MosquittoIpcClient client(broker.address(), "prov-client", {},
                                   std::make_shared<ipc::MessageThread>(), quickSettings());
    ASSERT_TRUE(waitUntil([&client] { return client.isConnected(); }));
    const Sockets sockets = socketsTo(broker.socketPath());
    EXPECT_EQ(sockets.connected, 1);
    EXPECT_EQ(sockets.inherited, 0);
}

} // namespace
