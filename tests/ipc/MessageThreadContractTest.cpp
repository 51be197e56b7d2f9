// SPDX-License-Identifier: Apache-2.0
#include "ipc/mosquitto/MessageThread.h"
#include "support/ipc/FakeMessageThread.h"
#include "support/logger/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

/// What every IMessageThreadStrategy does, the fake included.
namespace {

class Real {
public:
    ipc::IMessageThreadStrategy& strategy() { return thread_; }
    void settle() {
        std::promise<void> done;
        thread_.post([&done] { done.set_value(); });
        done.get_future().wait();
    }
    void stop() { thread_.stop(); }

private:
    ipc::MessageThread thread_;
};

class Fake {
public:
    ipc::IMessageThreadStrategy& strategy() { return thread_; }
    void settle() { thread_.runAll(); }
    void stop() { thread_.stop(); }

private:
    FakeMessageThread thread_;
};

template <typename Kind>
class MessageThreadContract : public testing::Test {
protected:
    LogRecorder log;
    Kind kind;
};

using Kinds = testing::Types<Fake, Real>;
TYPED_TEST_SUITE(MessageThreadContract, Kinds);

TYPED_TEST(MessageThreadContract, RunsTasksInTheOrderOfPosting) {
    std::vector<int> seen;
    for (int number = 0; number < 1000; ++number)
        this->kind.strategy().post([&seen, number] { seen.push_back(number); });
    this->kind.settle();
    std::vector<int> expected(1000);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(seen, expected);
}

TYPED_TEST(MessageThreadContract, ATaskMayPostAndIsNotInterruptedByIt) {
    std::vector<std::string> seen;
    this->kind.strategy().post([&] {
        seen.emplace_back("begin");
        this->kind.strategy().post([&] { seen.emplace_back("posted"); });
        seen.emplace_back("end");
    });
    this->kind.settle();
    this->kind.settle();
    EXPECT_THAT(seen, testing::ElementsAre("begin", "end", "posted"));
}

TYPED_TEST(MessageThreadContract, WhatATaskThrowsIsLoggedAndTheNextRuns) {
    bool ran = false;
    this->kind.strategy().post([] { throw std::runtime_error("why"); });
    this->kind.strategy().post([] { throw 7; });
    this->kind.strategy().post(nullptr);
    this->kind.strategy().post([&ran] { ran = true; });
    this->kind.settle();
    EXPECT_TRUE(ran);
    EXPECT_TRUE(this->log.has(3, "Task on the message thread failed: why"));
    EXPECT_TRUE(this->log.has(3, "Task on the message thread failed with an unknown exception"));
}

TYPED_TEST(MessageThreadContract, DropsWhatIsPostedAfterTheEnd) {
    bool ran = false;
    this->kind.stop();
    this->kind.strategy().post([&ran] { ran = true; });
    this->kind.stop();
    EXPECT_FALSE(ran);
}

} // namespace
