// SPDX-License-Identifier: Apache-2.0
#include "BusHarness.h"
#include "ipc/mosquitto/Payload.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace {

using ipc::IPCMessage;
using ipc::IpcMsgParams;

class Publish : public BusTest {};

TEST_F(Publish, SendsTheFormatOnTheTopicWithQosOneAndNotRetained) {
    connect();
    IpcMsgParams params;
    params.add("provInProgress", true);
    client->publish("prov-client/sip-client", IPCMessage("provisioningStatus", params));
    ASSERT_TRUE(peer.waitForCount("prov-client/sip-client", 1));
    const BusPeer::Message message = peer.messages().at(0);
    EXPECT_EQ(message.payload,
              R"({"flag":false,"name":"provisioningStatus","parameters":{"provInProgress":true}})");
    EXPECT_EQ(message.qos, 1);
    EXPECT_FALSE(message.retain);
    EXPECT_FALSE(message.responseTopic.has_value());
    // Nothing stays at the broker for those who come later.
    BusPeer later(broker.address());
    client->publish("prov-client/sip-client", IPCMessage("second"));
    ASSERT_TRUE(later.waitForCount("prov-client/sip-client", 1));
    EXPECT_EQ(ipc::decode(later.messages().at(0).payload).name, "second");
}

TEST_F(Publish, ABurstWhileConnectedIsNotCutToWhatMayWait) {
    connect();
    for (int number = 0; number < 5000; ++number)
        client->publish("prov-client/netmgr", IPCMessage(std::to_string(number)));
    ASSERT_TRUE(peer.waitForCount("prov-client/netmgr", 5000));
    const std::vector<BusPeer::Message> messages = peer.messages("prov-client/netmgr");
    for (std::size_t number = 0; number < 5000; ++number)
        EXPECT_EQ(ipc::decode(messages[number].payload).name, std::to_string(number));
    EXPECT_FALSE(log.mentions("dropped"));
}

TEST_F(Publish, TooLargeMessagesAreDroppedWithALine) {
    connect();
    IpcMsgParams params;
    params.add("text", std::string(ipc::LARGEST_PAYLOAD, 'x'));
    client->publish("prov-client/netmgr", IPCMessage("large", params));
    EXPECT_TRUE(
        log.has(2, R"(Bus message "large" to "prov-client/netmgr" dropped: it is too large)"));
    client->publish("prov-client/netmgr", IPCMessage("small"));
    ASSERT_TRUE(peer.waitForCount("prov-client/netmgr", 1));
    EXPECT_EQ(ipc::decode(peer.messages().at(0).payload).name, "small");
}

class MalformedTopic : public Publish, public testing::WithParamInterface<std::string> {};

TEST_P(MalformedTopic, IsDroppedWithALineAndTheNextMessageIsSent) {
    connect();
    client->publish(GetParam(), IPCMessage("wrong"));
    client->publish("prov-client/netmgr", IPCMessage("right"));
    ASSERT_TRUE(peer.waitForCount("prov-client/netmgr", 1));
    EXPECT_TRUE(log.mentions("dropped: the topic is malformed"));
    EXPECT_EQ(peer.messages().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Bus, MalformedTopic,
                         testing::Values("", "a/#", "+/b", "a/\n", "a/\xff", std::string("a\0b", 3),
                                         std::string(70000, 'a')));

TEST_F(Publish, BeyondTwoHundredFiftySixTheOldestIsDroppedWithALineEach) {
    auto observer = std::make_unique<BusPeer>(broker.address(), BusPeer::Options{"#", true});
    broker.stop();
    makeClient(broker.address());
    for (int number = 0; number < 260; ++number)
        client->publish("prov-client/netmgr", IPCMessage("m" + std::to_string(number)));
    for (int number = 0; number < 4; ++number)
        EXPECT_EQ(log.count(2, "Bus message \"m" + std::to_string(number) +
                                   "\" to \"prov-client/netmgr\" dropped: too many wait for the "
                                   "bus"),
                  1U);
    EXPECT_FALSE(log.mentions("\"m4\""));
    broker.start();
    ASSERT_TRUE(observer->waitForCount("prov-client/netmgr", 256));
    const std::vector<BusPeer::Message> messages = observer->messages("prov-client/netmgr");
    for (std::size_t index = 0; index < 256; ++index)
        EXPECT_EQ(ipc::decode(messages[index].payload).name, "m" + std::to_string(index + 4));
}

TEST_F(Publish, OfSeveralThreadsKeepsTheOrderOfEach) {
    connect();
    constexpr int THREADS = 4;
    constexpr int MESSAGES = 250;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([this, thread] {
            for (int number = 0; number < MESSAGES; ++number)
                client->publish("prov-client/" + std::to_string(thread),
                                IPCMessage(std::to_string(number)));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (int thread = 0; thread < THREADS; ++thread) {
        const std::string topic = "prov-client/" + std::to_string(thread);
        ASSERT_TRUE(peer.waitForCount(topic, MESSAGES));
        const std::vector<BusPeer::Message> messages = peer.messages(topic);
        for (std::size_t number = 0; number < MESSAGES; ++number)
            EXPECT_EQ(ipc::decode(messages[number].payload).name, std::to_string(number));
    }
}

TEST(PublishRefused, ByTheBrokersRulesIsLogged) {
    const LogRecorder log;
    const TemporaryDirectory directory;
    writeHostFile(directory.path() + "/acl", "topic read #\ntopic write prov-client/netmgr\n");
    Broker broker({{}, false, "acl_file " + directory.path() + "/acl"});
    const BusPeer peer(broker.address());
    auto messageThread = std::make_shared<ipc::MessageThread>();
    ipc::MosquittoIpcClient client(broker.address(), "prov-client", {}, messageThread,
                                   quickSettings());
    client.publish("prov-client/sip-client", IPCMessage("forbidden"));
    client.publish("prov-client/netmgr", IPCMessage("allowed"));
    ASSERT_TRUE(peer.waitForCount("prov-client/netmgr", 1));
    EXPECT_TRUE(log.waitFor(2, "Bus message \"forbidden\" to \"prov-client/sip-client\" refused by "
                               "the broker: Not authorized"));
}

} // namespace
