// SPDX-License-Identifier: Apache-2.0
#include "BusHarness.h"
#include "ipc/mosquitto/Payload.h"
#include "support/ipc/FakeIpcClient.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <future>
#include <stdexcept>

/// What every IIPCClient does, the fake included.
namespace {

using ipc::IPCMessage;
using ipc::IpcMsgParams;

IpcMsgParams textParam(const std::string& name, const std::string& value) {
    IpcMsgParams params;
    params.add(name, value);
    return params;
}

/// A message thread that tells how many tasks were posted: one for each request.
class CountingThread : public ipc::IMessageThreadStrategy {
public:
    void post(std::function<void()> task) override {
        thread_.post(std::move(task));
        ++posted_;
    }
    bool awaitPosted(std::size_t count) const {
        return waitUntil([&] { return posted_ >= count; });
    }

private:
    ipc::MessageThread thread_;
    std::atomic<std::size_t> posted_{0};
};

class FakeBus {
public:
    ipc::IIPCClient& client() { return client_; }
    bool awaitReceived(std::size_t count) const { return thread_->awaitPosted(count); }
    void send(const std::string& topic, const IPCMessage& message) {
        client_.receive(topic, message);
    }
    bool awaitSent(const std::string& topic, std::size_t count) {
        return waitUntil([&] { return sent(topic).size() >= count; });
    }
    std::vector<IPCMessage> sent(const std::string& topic) {
        std::vector<IPCMessage> result;
        for (const FakeIpcClient::Published& entry : client_.published()) {
            if (entry.destination == topic)
                result.push_back(entry.message);
        }
        return result;
    }

private:
    std::shared_ptr<CountingThread> thread_ = std::make_shared<CountingThread>();
    FakeIpcClient client_{thread_};
};

class MosquittoBus {
public:
    MosquittoBus() {
        if (!waitUntil([this] { return client_.isConnected(); }))
            throw std::runtime_error("no connection");
    }
    ipc::IIPCClient& client() { return client_; }
    bool awaitReceived(std::size_t count) const { return thread_->awaitPosted(count); }
    void send(const std::string& topic, const IPCMessage& message) {
        peer_.publish(topic, ipc::encode(message));
    }
    bool awaitSent(const std::string& topic, std::size_t count) {
        return peer_.waitForCount(topic, count);
    }
    std::vector<IPCMessage> sent(const std::string& topic) {
        std::vector<IPCMessage> result;
        for (const BusPeer::Message& message : peer_.messages(topic))
            result.push_back(ipc::decode(message.payload));
        return result;
    }

private:
    Broker broker_;
    BusPeer peer_{broker_.address()};
    std::shared_ptr<CountingThread> thread_ = std::make_shared<CountingThread>();
    ipc::MosquittoIpcClient client_{
        broker_.address(), "prov-client", {"netmgr/prov-client"}, thread_, quickSettings()};
};

template <typename Bus>
class IpcClientContract : public testing::Test {
protected:
    void send(const std::string& name, bool flag, const IpcMsgParams& params = {}) {
        bus.send("netmgr/prov-client", IPCMessage(name, params, flag));
    }
    std::vector<IPCMessage> answers(std::size_t count) {
        EXPECT_TRUE(bus.awaitSent("prov-client/netmgr", count));
        return bus.sent("prov-client/netmgr");
    }
    static ipc::HandlersMap echo() {
        return {{"echo", [](const IpcMsgParams& params) {
                     return params;
                 }}};
    }

    /// Has the operation called while a handler runs and a request waits; true when the handler was
    /// finished once the operation returned, and no other one was called.
    bool waitsForTheHandler(void (ipc::IIPCClient::*operation)()) {
        std::promise<void> started;
        std::promise<void> released;
        std::atomic<int> finished{0};
        bus.client().activate({{"block",
                                [&](const IpcMsgParams&) {
                                    started.set_value();
                                    released.get_future().wait();
                                    ++finished;
                                    return IpcMsgParams();
                                }}},
                              {});
        send("block", true);
        started.get_future().wait();
        send("block", true);
        EXPECT_TRUE(bus.awaitReceived(2));
        auto finishedThen = std::async(std::launch::async, [&] {
            (bus.client().*operation)();
            return finished.load();
        });
        // What waited is dropped right before the wait for the handler.
        EXPECT_TRUE(log.waitFor(2, "The bus is no longer served, 1 request(s) dropped"));
        released.set_value();
        return finishedThen.get() == 1;
    }

    LogRecorder log;
    Bus bus;
};

using Implementations = testing::Types<FakeBus, MosquittoBus>;
TYPED_TEST_SUITE(IpcClientContract, Implementations);

TYPED_TEST(IpcClientContract, IsConnectedUntilItIsStopped) {
    EXPECT_TRUE(this->bus.client().isConnected());
    this->bus.client().close();
    EXPECT_FALSE(this->bus.client().isConnected());
}

TYPED_TEST(IpcClientContract, PublishesToTheDestinationInOrder) {
    for (int number = 0; number < 100; ++number)
        this->bus.client().publish("prov-client/sip-client",
                                   IPCMessage("message", textParam("n", std::to_string(number))));
    ASSERT_TRUE(this->bus.awaitSent("prov-client/sip-client", 100));
    const std::vector<IPCMessage> sent = this->bus.sent("prov-client/sip-client");
    ASSERT_EQ(sent.size(), 100U);
    for (std::size_t number = 0; number < 100; ++number)
        EXPECT_EQ(sent[number], IPCMessage("message", textParam("n", std::to_string(number))));
}

TYPED_TEST(IpcClientContract, KeepsTheFlagOfAPublishedMessage) {
    this->bus.client().publish("prov-client/netmgr", IPCMessage("AreYouReady", {}, true));
    ASSERT_TRUE(this->bus.awaitSent("prov-client/netmgr", 1));
    EXPECT_EQ(this->bus.sent("prov-client/netmgr").front(), IPCMessage("AreYouReady", {}, true));
}

TYPED_TEST(IpcClientContract, AnswersARequestOnTheMirroredTopic) {
    this->bus.client().activate(this->echo(), {});
    this->send("echo", true, textParam("a", "b"));
    EXPECT_THAT(this->answers(1),
                testing::ElementsAre(IPCMessage("echoResponse", textParam("a", "b"))));
}

TYPED_TEST(IpcClientContract, RunsButDoesNotAnswerWithoutTheFlag) {
    std::atomic<int> runs{0};
    this->bus.client().activate({{"count",
                                  [&runs](const IpcMsgParams&) {
                                      ++runs;
                                      return IpcMsgParams();
                                  }}},
                                {});
    this->send("count", false);
    this->send("unknown", false);
    this->send("count", true);
    EXPECT_EQ(this->answers(1).size(), 1U);
    EXPECT_EQ(runs, 2);
}

TYPED_TEST(IpcClientContract, AnswersWithTheExceptionsTextAlone) {
    this->bus.client().activate({{"fail",
                                  [](const IpcMsgParams&) -> IpcMsgParams {
                                      throw std::runtime_error("why");
                                  }}},
                                {});
    this->send("fail", true, textParam("a", "b"));
    EXPECT_THAT(this->answers(1),
                testing::ElementsAre(IPCMessage("failResponse", textParam("error", "why"))));
}

TYPED_TEST(IpcClientContract, AWrongParameterIsTheError) {
    this->bus.client().activate({{"need",
                                  [](const IpcMsgParams& params) {
                                      params.get<bool>("text");
                                      return IpcMsgParams();
                                  }}},
                                {});
    this->send("need", true, textParam("text", "true"));
    EXPECT_EQ(this->answers(1).at(0).params,
              textParam("error", "wrong parameter requested [text]"));
}

TYPED_TEST(IpcClientContract, AnUnknownNameIsLoggedAndAnsweredWithAnError) {
    this->bus.client().activate(this->echo(), {});
    this->send("nobody", true);
    const IPCMessage answer = this->answers(1).at(0);
    EXPECT_EQ(answer.name, "nobodyResponse");
    EXPECT_FALSE(answer.params.template get<std::string>("error").empty());
    EXPECT_TRUE(this->log.has(2, R"(Bus message "nobody" on "netmgr/prov-client" is unknown)"));
}

TYPED_TEST(IpcClientContract, AProcedureIsRunAndAnsweredWithoutParameters) {
    std::promise<std::string> seen;
    this->bus.client().activate({}, {{"note", [&seen](const IpcMsgParams& params) {
                                          seen.set_value(params.get<std::string>("a"));
                                      }}});
    this->send("note", true, textParam("a", "b"));
    EXPECT_EQ(seen.get_future().get(), "b");
    EXPECT_THAT(this->answers(1), testing::ElementsAre(IPCMessage("noteResponse")));
}

TYPED_TEST(IpcClientContract, AProcedureThatThrowsIsAnsweredWithTheError) {
    this->bus.client().activate({}, {{"note", [](const IpcMsgParams&) {
                                          throw std::runtime_error("why");
                                      }}});
    this->send("note", false);
    this->send("note", true);
    EXPECT_THAT(this->answers(1),
                testing::ElementsAre(IPCMessage("noteResponse", textParam("error", "why"))));
}

TYPED_TEST(IpcClientContract, RequestsBeforeActivateWaitForItInOrder) {
    for (int number = 0; number < 20; ++number)
        this->send("echo", true, textParam("n", std::to_string(number)));
    EXPECT_TRUE(this->bus.sent("prov-client/netmgr").empty());
    this->bus.client().activate(this->echo(), {});
    this->send("echo", true, textParam("n", "20"));
    const std::vector<IPCMessage> all = this->answers(21);
    ASSERT_EQ(all.size(), 21U);
    for (std::size_t number = 0; number <= 20; ++number)
        EXPECT_EQ(all[number].params, textParam("n", std::to_string(number)));
}

TYPED_TEST(IpcClientContract, ActivatesOnce) {
    this->bus.client().activate(this->echo(), {});
    EXPECT_THROW(this->bus.client().activate({}, {}), std::logic_error);
}

TYPED_TEST(IpcClientContract, AHandlerMayPublish) {
    ipc::IIPCClient& client = this->bus.client();
    client.activate({{"tell",
                      [&client](const IpcMsgParams&) {
                          client.publish("prov-client/netmgr", IPCMessage("told"));
                          return IpcMsgParams();
                      }}},
                    {});
    this->send("tell", true);
    EXPECT_THAT(this->answers(2),
                testing::ElementsAre(IPCMessage("told"), IPCMessage("tellResponse")));
}

TYPED_TEST(IpcClientContract, RequestsRunOneAtATime) {
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    this->bus.client().activate({{"work",
                                  [&](const IpcMsgParams&) {
                                      most = std::max(most.load(), ++running);
                                      std::this_thread::yield();
                                      --running;
                                      return IpcMsgParams();
                                  }}},
                                {});
    for (int number = 0; number < 50; ++number)
        this->send("work", true);
    this->answers(50);
    EXPECT_EQ(most, 1);
}

TYPED_TEST(IpcClientContract, CloseWaitsForTheRunningHandlerAndCallsNoOther) {
    EXPECT_TRUE(this->waitsForTheHandler(&ipc::IIPCClient::close));
}

TYPED_TEST(IpcClientContract, StopWaitsForTheRunningHandlerWhoseAnswerIsSent) {
    EXPECT_TRUE(this->waitsForTheHandler(&ipc::IIPCClient::stop));
    EXPECT_EQ(this->answers(1).size(), 1U);
}

TYPED_TEST(IpcClientContract, NoHandlerIsCalledAfterStopAndPublishingGoesOn) {
    ipc::IIPCClient& client = this->bus.client();
    std::atomic<int> calls{0};
    client.activate({{"last",
                      [&](const IpcMsgParams&) {
                          ++calls;
                          client.stop(); // returns, though this handler still runs
                          return IpcMsgParams();
                      }}},
                    {});
    this->send("last", true);
    this->send("last", true);
    EXPECT_THAT(this->answers(1), testing::ElementsAre(IPCMessage("lastResponse")));
    EXPECT_TRUE(client.isConnected());
    this->send("last", true);
    client.publish("prov-client/netmgr", IPCMessage("after"));
    EXPECT_THAT(this->answers(2),
                testing::ElementsAre(IPCMessage("lastResponse"), IPCMessage("after")));
    client.stop();
    client.close();
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(client.isConnected());
}

TYPED_TEST(IpcClientContract, AHandlerMayCloseTheClient) {
    ipc::IIPCClient& client = this->bus.client();
    std::promise<void> stopped;
    client.activate({}, {{"stop", [&](const IpcMsgParams&) {
                              client.close();
                              stopped.set_value();
                          }}});
    this->send("stop", false);
    ASSERT_EQ(stopped.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_FALSE(client.isConnected());
}

TYPED_TEST(IpcClientContract, CloseIsIdempotentAndPublishAfterItIsDropped) {
    ipc::IIPCClient& client = this->bus.client();
    client.publish("prov-client/netmgr", IPCMessage("before"));
    client.close();
    client.close();
    client.publish("prov-client/netmgr", IPCMessage("after"));
    EXPECT_THAT(this->answers(1), testing::ElementsAre(IPCMessage("before")));
}

TYPED_TEST(IpcClientContract, ActivateAfterCloseServesNothing) {
    this->send("echo", true);
    this->bus.client().close();
    this->bus.client().activate(this->echo(), {});
    EXPECT_TRUE(this->bus.sent("prov-client/netmgr").empty());
}

} // namespace
