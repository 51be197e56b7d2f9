// SPDX-License-Identifier: Apache-2.0
#include "BusHarness.h"
#include "ipc/mosquitto/MqttConnection.h"
#include "ipc/mosquitto/Payload.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <set>
#include <stdexcept>
#include <thread>

namespace {

using ipc::IPCMessage;
using ipc::IpcMsgParams;

class Reconnect : public BusTest {};

std::vector<std::string> namesOn(const BusPeer& peer, const std::string& topic) {
    std::vector<std::string> names;
    for (const BusPeer::Message& message : peer.messages(topic))
        names.push_back(ipc::decode(message.payload).name);
    return names;
}

/// A message that was sent again appears once, where it appeared first.
std::vector<std::string> withoutRepetitions(const std::vector<std::string>& names) {
    std::vector<std::string> result;
    std::set<std::string> seen;
    for (const std::string& name : names) {
        if (seen.insert(name).second)
            result.push_back(name);
    }
    return result;
}

std::vector<std::string> numbered(int count) {
    std::vector<std::string> result;
    result.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number)
        result.push_back(std::to_string(number));
    return result;
}

TEST_F(Reconnect, WithoutABrokerTheClientStartsAndConnectsOnceThereIsOne) {
    BusPeer observer(broker.address(), {"#", true});
    broker.stop();
    makeClient(broker.address());
    EXPECT_FALSE(client->isConnected());
    client->publish("prov-client/netmgr", IPCMessage("early"));
    const std::string line = "Bus away: " + broker.address() + ": No such file or directory";
    EXPECT_TRUE(log.waitFor(1, line));
    broker.start();
    EXPECT_TRUE(waitUntil([this] { return client->isConnected(); }));
    EXPECT_TRUE(observer.waitForCount("prov-client/netmgr", 1));
    EXPECT_TRUE(log.has(1, "Bus connected: " + broker.address()));
    EXPECT_EQ(log.count(2, line), 1U) << "only the first failure in a row is notable";
}

TEST_F(Reconnect, AfterStopAndStartTheClientServesAgain) {
    connect();
    activateEcho();
    for (int turn = 0; turn < 3; ++turn) {
        broker.stop();
        EXPECT_TRUE(waitUntil([this] { return !client->isConnected(); }));
        broker.start();
        EXPECT_TRUE(waitUntil([this] { return client->isConnected(); }));
        BusPeer asker(broker.address());
        asker.publish("auto-reboot/prov-client", payload("echo", true));
        EXPECT_TRUE(asker.waitForCount("prov-client/auto-reboot", 1));
    }
}

TEST_F(Reconnect, AfterTheBrokerWasKilledWhileItWasWrittenToTheClientServesAgain) {
    connect();
    activateEcho();
    broker.freeze();
    for (int number = 0; number < 100; ++number)
        client->publish("prov-client/netmgr", IPCMessage("load"));
    broker.kill();
    broker.start();
    EXPECT_TRUE(waitUntil([this] { return client->isConnected(); }));
    BusPeer asker(broker.address());
    asker.publish("auto-reboot/prov-client", payload("echo", true));
    EXPECT_TRUE(asker.waitForCount("prov-client/auto-reboot", 1));
}

TEST_F(Reconnect, NothingIsLostOrOutOfOrderWhenTheBrokerRestartsUnderLoad) {
    // All messages together may wait, so none may ever be dropped.
    constexpr int THREADS = 4;
    constexpr int MESSAGES = 60;
    connect();
    BusPeer observer(broker.address(), {"#", true});
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([this, thread] {
            for (int number = 0; number < MESSAGES; ++number) {
                client->publish("prov-client/" + std::to_string(thread),
                                IPCMessage(std::to_string(number)));
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        });
    }
    for (int turn = 0; turn < 2; ++turn) {
        broker.stop();
        broker.start();
    }
    for (std::thread& thread : threads)
        thread.join();
    client->publish("prov-client/last", IPCMessage("last"));
    ASSERT_TRUE(observer.waitForCount("prov-client/last", 1));
    for (int thread = 0; thread < THREADS; ++thread)
        EXPECT_EQ(withoutRepetitions(namesOn(observer, "prov-client/" + std::to_string(thread))),
                  numbered(MESSAGES));
    EXPECT_FALSE(log.mentions("dropped"));
}

TEST_F(Reconnect, WhatTheBrokerDidNotAcknowledgeBeforeItWasKilledIsSentAgainInOrder) {
    connect();
    BusPeer observer(broker.address(), {"#", true});
    broker.save();
    broker.freeze();
    for (const std::string& name : numbered(100))
        client->publish("prov-client/netmgr", IPCMessage(name));
    broker.kill();
    EXPECT_TRUE(waitUntil([this] { return !client->isConnected(); }));
    broker.start();
    ASSERT_TRUE(observer.waitForCount("prov-client/netmgr", 100));
    EXPECT_EQ(namesOn(observer, "prov-client/netmgr"), numbered(100));
}

TEST_F(Reconnect, ABacklogAboveTheLimitIsCutWhenTheBusGoes) {
    connect();
    broker.freeze();
    for (const std::string& name : numbered(1000))
        client->publish("prov-client/netmgr", IPCMessage(name));
    EXPECT_FALSE(log.mentions("dropped"));
    broker.kill();
    ASSERT_TRUE(log.waitFor(2, "Bus message \"743\" to \"prov-client/netmgr\" dropped: too many "
                               "wait for the bus"));
    std::size_t dropped = 0;
    for (const LogRecorder::Line& line : log.lines())
        dropped += line.text.find("too many wait") == std::string::npos ? 0U : 1U;
    EXPECT_EQ(dropped, 744U);
}

TEST_F(Reconnect, ABrokerThatDoesNotAnswerIsGivenUp) {
    ipc::BusSettings settings = quickSettings();
    settings.connectTimeout = std::chrono::milliseconds(50);
    broker.freeze();
    makeClient(broker.address(), settings);
    EXPECT_TRUE(log.waitFor(2, "Bus away: " + broker.address() + ": no answer within 50 ms"));
    EXPECT_FALSE(client->isConnected());
    broker.resume();
    // A busy machine may need longer than 50 ms, but not each time.
    EXPECT_TRUE(waitUntil([this] { return client->isConnected(); }));
}

TEST(ReconnectRefused, IsLoggedWithTheBrokersReason) {
    const LogRecorder log;
    Broker broker({{}, false, "password_file /dev/null\nallow_anonymous false"});
    ipc::MosquittoIpcClient client(broker.address(), "prov-client", {},
                                   std::make_shared<ipc::MessageThread>(), quickSettings());
    EXPECT_TRUE(log.waitFor(2, "Bus away: " + broker.address() + ": refused: Not authorized"));
    EXPECT_FALSE(client.isConnected());
}

TEST(ReconnectTcp, ServesOverALoopbackPort) {
    const LogRecorder log;
    Broker broker({{}, true});
    BusPeer peer(broker.tcpAddress());
    ipc::MosquittoIpcClient client(broker.tcpAddress(), "prov-client", {"netmgr/prov-client"},
                                   std::make_shared<ipc::MessageThread>(), quickSettings());
    client.activate({{"echo",
                      [](const IpcMsgParams& params) {
                          return params;
                      }}},
                    {});
    ASSERT_TRUE(waitUntil([&client] { return client.isConnected(); }));
    for (int turn = 0; turn < 2; ++turn) {
        broker.stop();
        EXPECT_TRUE(waitUntil([&client] { return !client.isConnected(); }));
        EXPECT_TRUE(log.waitFor(1, "Bus away: " + broker.tcpAddress() + ": Connection refused"));
        broker.start();
        ASSERT_TRUE(waitUntil([&client] { return client.isConnected(); }));
    }
    BusPeer asker(broker.tcpAddress());
    asker.publish("netmgr/prov-client", payload("echo", true));
    EXPECT_TRUE(asker.waitForCount("prov-client/netmgr", 1));
}

/// A port of the loopback interface on which connecting does not come to an end: nobody takes the
/// connections that fill its queue.
class SilentPort {
public:
    SilentPort() {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address_;
        EXPECT_EQ(::bind(sockets_[0], generic(), sizeof address_), 0);
        EXPECT_EQ(::listen(sockets_[0], 0), 0);
        EXPECT_EQ(::getsockname(sockets_[0], generic(), &size), 0);
        for (std::size_t index = 1; index < sockets_.size(); ++index)
            static_cast<void>(::connect(sockets_[index], generic(), sizeof address_));
    }
    ~SilentPort() {
        for (const int socket : sockets_)
            ::close(socket);
    }
    SilentPort(const SilentPort&) = delete;
    SilentPort& operator=(const SilentPort&) = delete;

    std::string address() const {
        return "tcp:127.0.0.1:" + std::to_string(ntohs(address_.sin_port));
    }

private:
    static int makeSocket() {
        return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    }
    sockaddr* generic() { return reinterpret_cast<sockaddr*>(&address_); }

    std::array<int, 5> sockets_{makeSocket(), makeSocket(), makeSocket(), makeSocket(),
                                makeSocket()};
    sockaddr_in address_{};
};

TEST(ReconnectTcp, AHostThatTakesNoConnectionIsGivenUpAndDoesNotDelayTheEnd) {
    const LogRecorder log;
    const SilentPort port;
    ipc::BusSettings settings = quickSettings();
    settings.connectTimeout = std::chrono::milliseconds(50);
    ipc::MosquittoIpcClient client(port.address(), "prov-client", {},
                                   std::make_shared<ipc::MessageThread>(), settings);
    EXPECT_TRUE(log.waitFor(2, "Bus away: " + port.address() + ": no answer within 50 ms"));
    const auto begin = std::chrono::steady_clock::now();
    client.close();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

/// One connection, driven by the test.
class ConnectionTest : public testing::Test {
protected:
    ConnectionTest() { std::signal(SIGPIPE, SIG_IGN); }
    void drive(const std::function<bool()>& condition) {
        ASSERT_TRUE(waitUntil([&] {
            pollfd descriptor{connection.socket(), POLLIN, 0};
            ::poll(&descriptor, 1, 10);
            connection.handleEvents(descriptor.revents != 0, connection.wantsToWrite());
            return condition();
        }));
    }
    void publish(const std::string& name) { connection.publish({name, "a/b", "{}", std::nullopt}); }

    LogRecorder log;
    Broker broker;
    ipc::MqttConnection connection{
        ipc::BusAddress::parse(broker.address()), "test", {"x/y"}, std::chrono::seconds(60)};
};

TEST_F(ConnectionTest, KeepsMessagesUntilTheyAreAcknowledged) {
    drive([this] { return connection.isReady(); });
    publish("1");
    EXPECT_TRUE(connection.hasUnacknowledged());
    drive([this] { return !connection.hasUnacknowledged(); });
    EXPECT_TRUE(connection.takeUnacknowledged().empty());
}

TEST_F(ConnectionTest, GivesUnacknowledgedMessagesBackInOrderWhenItIsLost) {
    drive([this] { return connection.isReady(); });
    broker.freeze();
    for (const char* name : {"1", "2", "3"})
        publish(name);
    broker.kill();
    drive([this] { return connection.isLost(); });
    publish("4");
    std::vector<std::string> names;
    for (const ipc::OutgoingMessage& message : connection.takeUnacknowledged())
        names.push_back(message.name);
    EXPECT_THAT(names, testing::ElementsAre("1", "2", "3", "4"));
    EXPECT_FALSE(connection.lossReason().empty());
}

TEST_F(ConnectionTest, KeepsAMessageWhoseWritingFails) {
    drive([this] { return connection.isReady(); });
    broker.kill();
    publish("1");
    publish("2");
    EXPECT_FALSE(connection.isLost()) << "nothing was read yet";
    EXPECT_EQ(connection.takeUnacknowledged().size(), 2U);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(ConnectionTest, HasRoomForSixteenUnacknowledgedMessages) {
    drive([this] { return connection.isReady(); });
    broker.freeze();
    int sent = 0;
    while (connection.hasRoom() && sent < 100)
        publish(std::to_string(sent++));
    EXPECT_EQ(sent, 16);
}

} // namespace
