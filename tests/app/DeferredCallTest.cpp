// SPDX-License-Identifier: Apache-2.0
#include "app/DeferredCall.h"

#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

TEST(DeferredCall, RunsOnceHoweverOftenItIsTriggered) {
    std::atomic<int> calls = 0;
    app::DeferredCall call([&] { ++calls; });
    call.trigger();
    call.trigger();
    EXPECT_TRUE(waitUntil([&] { return calls == 1; }));
    call.trigger();
    call.close();
    EXPECT_EQ(calls, 1);
}

TEST(DeferredCall, ClosingWaitsForTheCallThatWasTriggered) {
    std::atomic<bool> begun = false;
    std::atomic<bool> release = false;
    std::atomic<bool> done = false;
    app::DeferredCall call([&] {
        begun = true;
        waitUntil([&] { return release.load(); });
        done = true;
    });
    call.trigger();
    ASSERT_TRUE(waitUntil([&] { return begun.load(); }));
    std::thread releasing([&] { release = true; });
    call.close();
    EXPECT_TRUE(done);
    releasing.join();
}

TEST(DeferredCall, IsNeverRunOnceItIsClosed) {
    std::atomic<int> calls = 0;
    {
        app::DeferredCall call([&] { ++calls; });
        call.close();
        call.trigger();
    }
    EXPECT_EQ(calls, 0);
}

TEST(DeferredCall, TriggeringDoesNotWaitForTheFunction) {
    std::atomic<bool> release = false;
    app::DeferredCall call([&] { waitUntil([&] { return release.load(); }); });
    call.trigger();
    call.trigger();
    release = true;
}

} // namespace
