// SPDX-License-Identifier: Apache-2.0
#include "RecordingApplication.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/process/Proc.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using testing::Contains;
using testing::Not;

/// Threads of this process.
std::size_t threads() {
    return proc::threadsOf(::getpid()).size();
}

/// A thread that was joined may be seen for a moment longer.
bool hasNoMoreThreadsThan(std::size_t count) {
    return waitUntil([&] { return threads() <= count; });
}

std::string thrownBy(RecordingApplication& application) {
    try {
        application.exec();
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return "nothing";
}

class FailedStart : public testing::Test {
protected:
    // The first thread that a process makes may bring a sanitizer's own.
    FailedStart() {
        std::thread([] {}).join();
    }

    const PhoneRoot phone;
    const LogRecorder log;
};

TEST_F(FailedStart, WhatSetupThrowsPassesOutAfterTheEnd) {
    const std::size_t before = threads();
    {
        RecordingApplication application;
        application.hooks.setup = [] {
            throw std::runtime_error("no worker");
        };
        EXPECT_EQ(thrownBy(application), "no worker");
        EXPECT_THAT(application.calls(), Contains("cleanup"));
        EXPECT_THAT(application.calls(), Not(Contains("waitForTermination")));
        EXPECT_TRUE(application.getTerminationFlag());

        // The message thread has ended: a task is dropped, with what it holds.
        const auto token = std::make_shared<int>(0);
        application.messages()->post([token] { FAIL() << "run after the end"; });
        EXPECT_EQ(token.use_count(), 1);
    }
    EXPECT_TRUE(hasNoMoreThreadsThan(before));
}

TEST_F(FailedStart, AStoreThatCannotBeOpenedEndsTheStart) {
    phone.write("/data", "a file in the place of the directory");
    const std::size_t before = threads();
    {
        RecordingApplication application;
        EXPECT_THROW(application.exec(), propertyapi::PropertyApiException);
        EXPECT_THAT(application.calls(), Contains("cleanup"));
        EXPECT_THAT(application.calls(), Not(Contains("createIpcClient")));
        EXPECT_THAT(application.calls(), Not(Contains("setup")));
    }
    EXPECT_TRUE(hasNoMoreThreadsThan(before));
}

TEST_F(FailedStart, AFailureOfTheWaitEndsTheProcessInOrder) {
    RecordingApplication application;
    application.hooks.waitForTermination = [] {
        throw std::runtime_error("nothing to wait for");
    };
    EXPECT_EQ(thrownBy(application), "nothing to wait for");
    EXPECT_THAT(application.calls(), Contains("cleanup"));
}

TEST_F(FailedStart, AFailureOfTheEndDoesNotHideTheFirstOne) {
    RecordingApplication application;
    application.hooks.setup = [] {
        throw std::runtime_error("no worker");
    };
    application.hooks.cleanup = [] {
        throw std::runtime_error("no end");
    };
    EXPECT_EQ(thrownBy(application), "no worker");
    EXPECT_TRUE(log.has(3, "Ending Recorder after a failure: no end"));
}

TEST_F(FailedStart, AFailureOfAnOrderlyEndPassesOut) {
    RecordingApplication application;
    application.hooks.setup = [&] {
        application.signalTermination();
    };
    application.hooks.cleanup = [] {
        throw std::runtime_error("no end");
    };
    EXPECT_EQ(thrownBy(application), "no end");
}

} // namespace
