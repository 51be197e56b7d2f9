// SPDX-License-Identifier: Apache-2.0
#include "BusHarness.h"
#include "ipc/mosquitto/Payload.h"
#include "ipc/mosquitto/RequestQueue.h"
#include "support/ipc/FakeMessageThread.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

namespace {

using ipc::IPCMessage;
using ipc::IpcMsgParams;

/// Requests as they come over a real broker.
class Request : public BusTest {};

TEST_F(Request, IsAnsweredOnTheMirroredTopicAsTheFormatSays) {
    connect();
    activateEcho();
    peer.publish("auto-reboot/prov-client", payload("echo", true, R"({"a": "b"})"));
    ASSERT_TRUE(peer.waitForCount("prov-client/auto-reboot", 1));
    const BusPeer::Message answer = peer.messages().at(0);
    EXPECT_EQ(answer.payload, R"({"flag":false,"name":"echoResponse","parameters":{"a":"b"}})");
    EXPECT_EQ(answer.qos, 1);
    EXPECT_FALSE(answer.retain);
    EXPECT_FALSE(answer.correlationData.has_value());
}

TEST_F(Request, IsAnsweredOnItsResponseTopicWithItsCorrelationData) {
    connect();
    activateEcho();
    const std::string correlation("\0\xff id", 5);
    peer.publish({"auto-reboot/prov-client", payload("echo", true), "answers/here/7", correlation});
    ASSERT_TRUE(peer.waitForCount("answers/here/7", 1));
    EXPECT_EQ(peer.messages("answers/here/7").at(0).correlationData, correlation);
    EXPECT_TRUE(peer.messages("prov-client/auto-reboot").empty());
}

TEST_F(Request, ErrorsGoToTheResponseTopicToo) {
    connect();
    client->activate({}, {});
    peer.publish({"auto-reboot/prov-client", payload("nobody", true), "answers", "7"});
    ASSERT_TRUE(peer.waitForCount("answers", 1));
    EXPECT_EQ(peer.messages("answers").at(0).correlationData, "7");
    EXPECT_EQ(peer.messages("answers").at(0).payload,
              R"({"flag":false,"name":"nobodyResponse","parameters":{"error":"unknown request )"
              R"([nobody]"}})");
}

TEST_F(Request, WithoutFlagIsNotAnsweredOnAResponseTopicEither) {
    connect();
    activateEcho();
    peer.publish({"auto-reboot/prov-client", payload("echo", false), "answers", "7"});
    EXPECT_EQ(answerTo(payload("echo", true)), "echoResponse {}");
    EXPECT_TRUE(peer.messages("answers").empty());
}

TEST_F(Request, AnAnswerThatIsTooLargeBecomesAnError) {
    connect();
    client->activate({{"large",
                       [](const IpcMsgParams&) {
                           IpcMsgParams params;
                           params.add("text", std::string(ipc::LARGEST_PAYLOAD, 'x'));
                           return params;
                       }}},
                     {});
    EXPECT_EQ(answerTo(payload("large", true)),
              R"(largeResponse {"error":"the answer is too large"})");
}

TEST_F(Request, KeepsTheOrderOfAThousand) {
    connect();
    activateEcho();
    for (int number = 0; number < 1000; ++number)
        peer.publish("auto-reboot/prov-client",
                     payload("echo", true, "{\"n\":" + std::to_string(number) + "}"));
    ASSERT_TRUE(peer.waitForCount("prov-client/auto-reboot", 1000));
    const std::vector<BusPeer::Message> answers = peer.messages("prov-client/auto-reboot");
    ASSERT_EQ(answers.size(), 1000U);
    for (int number = 0; number < 1000; ++number)
        EXPECT_EQ(ipc::decode(answers[static_cast<std::size_t>(number)].payload)
                      .params.parameters()["n"]
                      .asInt(),
                  number);
}

TEST_F(Request, RunsOnTheMessageThread) {
    connect();
    std::promise<std::thread::id> expected;
    std::promise<std::thread::id> handler;
    messageThread->post([&expected] { expected.set_value(std::this_thread::get_id()); });
    client->activate({}, {{"note", [&handler](const IpcMsgParams&) {
                               handler.set_value(std::this_thread::get_id());
                           }}});
    peer.publish("netmgr/prov-client", payload("note"));
    EXPECT_EQ(handler.get_future().get(), expected.get_future().get());
}

TEST_F(Request, MalformedOnesAreDroppedWithOneLineEachAndTheNextIsServed) {
    connect();
    activateEcho();
    const std::vector<std::string> malformed = {
        "",
        "hello",
        "[]",
        R"({"name":"echo","flag":true} x)",
        R"({"flag":true})",
        R"({"name":7,"flag":true})",
        R"({"name":"echo","parameters":[],"flag":true})",
        R"({"name":"echo","flag":1})",
        "{\"name\":\"echo\xff\",\"flag\":true}",
        payload("echo", true, R"({"a":")" + std::string(std::size_t{64} * 1024, 'x') + R"("})"),
        payload("echo", true, "{\"a\":" + std::string(31, '[') + std::string(31, ']') + "}"),
        std::string(60000, '['),
    };
    for (const std::string& text : malformed) {
        log.clear();
        peer.publish("auto-reboot/prov-client", text);
        EXPECT_EQ(answerTo(payload("echo", true)), "echoResponse {}") << text.substr(0, 60);
        const std::vector<LogRecorder::Line> lines = log.lines();
        ASSERT_EQ(lines.size(), 1U) << text.substr(0, 60);
        EXPECT_EQ(lines[0].level, 2);
        EXPECT_THAT(lines[0].text,
                    testing::StartsWith("Bus message on \"auto-reboot/prov-client\" dropped: "));
    }
}

TEST_F(Request, ParametersAndForeignControlCharactersStayOutOfTheLog) {
    connect();
    client->activate({{"fail",
                       [](const IpcMsgParams& params) {
                           params.get<bool>("password");
                           return IpcMsgParams();
                       }}},
                     {});
    const std::string secret = R"({"password":"top-secret"})";
    peer.publish("auto-reboot/prov-client", payload("nobody\\nfake line", false, secret));
    peer.publish("auto-reboot/prov-client", payload("fail", false, secret));
    peer.publish("auto-reboot/prov-client", payload("fail", false, secret) + "x");
    EXPECT_EQ(answerTo(payload("fail", true, secret)),
              R"(failResponse {"error":"wrong parameter requested [password]"})");
    EXPECT_FALSE(log.mentions("top-secret"));
    for (const LogRecorder::Line& line : log.lines())
        EXPECT_EQ(line.text.find('\n'), std::string::npos);
    EXPECT_TRUE(log.has(2, R"(Bus message "nobody\nfake line" on "auto-reboot/prov-client" is )"
                           "unknown"));
}

TEST_F(Request, LongForeignNamesAreCutInTheLog) {
    connect();
    client->activate({}, {});
    peer.publish("auto-reboot/prov-client", payload(std::string(60000, 'n')));
    EXPECT_TRUE(waitUntil([this] { return log.mentions("nnn\"... on"); }));
    for (const LogRecorder::Line& line : log.lines())
        EXPECT_LT(line.text.size(), 400U);
}

TEST_F(Request, RetainedMessagesFromBeforeAreNoRequests) {
    peer.publish({"auto-reboot/prov-client", payload("echo", true), {}, {}, 1, true});
    connect();
    activateEcho();
    peer.publish("auto-reboot/prov-client", payload("echo", true, R"({"live":true})"));
    ASSERT_TRUE(peer.waitForCount("prov-client/auto-reboot", 1));
    EXPECT_TRUE(ipc::decode(peer.messages("prov-client/auto-reboot").front().payload)
                    .params.get<bool>("live"));
}

TEST_F(Request, OwnMessagesDoNotComeBack) {
    makeClient(broker.address(), quickSettings(), {"#"});
    ASSERT_TRUE(waitUntil([this] { return client->isConnected(); }));
    activateEcho();
    client->publish("prov-client/prov-client", IPCMessage("echo", {}, true));
    client->publish("prov-client/netmgr", IPCMessage("echo", {}, true));
    EXPECT_EQ(answerTo(payload("echo", true)), "echoResponse {}");
    EXPECT_TRUE(peer.messages("netmgr/prov-client").empty());
    EXPECT_TRUE(peer.messages("prov-client/prov-client").size() <= 1U);
}

TEST_F(Request, WithoutSenderInTheTopicIsRunButNotAnswered) {
    makeClient(broker.address(), quickSettings(), {"#"});
    ASSERT_TRUE(waitUntil([this] { return client->isConnected(); }));
    activateEcho();
    peer.publish("nobody", payload("echo", true));
    peer.publish("a/b/c", payload("echo", true));
    EXPECT_TRUE(log.waitFor(2, R"(Bus message "echo" on "nobody" is not answered: it names no )"
                               "sender"));
    EXPECT_TRUE(log.waitFor(2, R"(Bus message "echo" on "a/b/c" is not answered: it names no )"
                               "sender"));
}

/// The queue alone: limits, and what a real broker does not let through.
class RequestQueueTest : public testing::Test {
protected:
    void arrive(const std::string& text, const std::string& topic = "a/b") {
        queue->arrived({topic, text, std::nullopt, std::nullopt});
    }
    std::vector<std::string> answers() {
        std::vector<std::string> topics;
        while (const auto message = outbox->take())
            topics.push_back(message->topic);
        return topics;
    }
    void activate() {
        queue->activate({{"echo",
                          [](const IpcMsgParams& params) {
                              return params;
                          }}},
                        {});
    }

    LogRecorder log;
    std::shared_ptr<FakeMessageThread> messageThread = std::make_shared<FakeMessageThread>();
    std::shared_ptr<ipc::Outbox> outbox = std::make_shared<ipc::Outbox>(100, 100000);
    std::shared_ptr<ipc::RequestQueue> queue = std::make_shared<ipc::RequestQueue>(
        messageThread, outbox, ipc::RequestQueue::Limits{3, 1000});
};

constexpr const char* TOO_MANY = "Bus message on \"a/b\" dropped: too many wait for the message "
                                 "thread";

TEST_F(RequestQueueTest, DropsTheNewestBeyondTheNumberThatMayWait) {
    for (int number = 0; number < 5; ++number)
        arrive(payload("echo", true, "{\"n\":" + std::to_string(number) + "}"));
    EXPECT_EQ(log.count(2, TOO_MANY), 2U);
    activate();
    messageThread->runAll();
    std::vector<int> numbers;
    while (const auto message = outbox->take())
        numbers.push_back(ipc::decode(message->payload).params.parameters()["n"].asInt());
    EXPECT_THAT(numbers, testing::ElementsAre(0, 1, 2));
}

TEST_F(RequestQueueTest, IsBoundedWhileTheMessageThreadIsBusyToo) {
    activate();
    for (int number = 0; number < 5; ++number)
        arrive(payload("echo", true));
    EXPECT_EQ(log.count(2, TOO_MANY), 2U);
    EXPECT_EQ(messageThread->runAll(), 3U);
    arrive(payload("echo", true));
    EXPECT_EQ(messageThread->runAll(), 1U);
    EXPECT_EQ(answers().size(), 4U);
}

TEST_F(RequestQueueTest, IsBoundedBySize) {
    arrive(std::string(600, ' '));
    arrive(std::string(600, ' '));
    EXPECT_EQ(log.count(2, TOO_MANY), 1U);
}

TEST_F(RequestQueueTest, ServesNothingAfterStopEvenFromTasksPostedBefore) {
    activate();
    arrive(payload("echo", true));
    queue->stop();
    arrive(payload("echo", true));
    messageThread->runAll();
    EXPECT_TRUE(answers().empty());
    EXPECT_TRUE(log.has(2, "The bus is no longer served, 1 request(s) dropped"));
}

TEST_F(RequestQueueTest, MayGoBeforeTheTasksThatItPosted) {
    activate();
    arrive(payload("echo", true));
    queue->stop();
    queue.reset();
    EXPECT_EQ(messageThread->runAll(), 1U);
}

TEST_F(RequestQueueTest, AResponseTopicThatCannotBePublishedToIsNoHarm) {
    activate();
    queue->arrived({"a/b", payload("echo", true), "a/#", std::nullopt});
    arrive(payload("echo", true));
    messageThread->runAll();
    EXPECT_TRUE(
        log.has(2, R"(Bus message "echoResponse" to "a/#" dropped: the topic is malformed)"));
    EXPECT_THAT(answers(), testing::ElementsAre("b/a"));
}

TEST_F(RequestQueueTest, ForgetsTheHandlersOnStop) {
    auto owned = std::make_shared<int>(1);
    queue->activate({{"a",
                      [owned](const IpcMsgParams& params) {
                          return params;
                      }}},
                    {});
    EXPECT_EQ(owned.use_count(), 2);
    queue->stop();
    EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(RequestQueueTest, AHandlerThatThrowsNoExceptionObjectIsAnError) {
    queue->activate({{"odd",
                      [](const IpcMsgParams&) -> IpcMsgParams {
                          throw 7;
                      }}},
                    {});
    arrive(payload("odd", true));
    messageThread->runAll();
    EXPECT_TRUE(log.has(3, "Bus message \"odd\" failed: unknown exception"));
    EXPECT_EQ(answers().size(), 1U);
}

TEST_F(RequestQueueTest, AHandlerMayHandOverFurtherMessages) {
    // A lock held during the handler would stop this for ever.
    queue->activate({{"more",
                      [this](const IpcMsgParams& params) {
                          arrive(payload("note"));
                          return params;
                      }}},
                    {{"note", [](const IpcMsgParams&) {
                      }}});
    arrive(payload("more", true));
    EXPECT_EQ(messageThread->runAll(), 2U);
}

} // namespace
