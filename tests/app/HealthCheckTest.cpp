// SPDX-License-Identifier: Apache-2.0
#include "app/HealthCheck.h"

#include "support/logger/LogRecorder.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(HealthCheck, RunsAtItsIntervalAndReportsHealth) {
    const auto begin = Clock::now();
    std::atomic<int> checks = 0;
    std::atomic<int> healthy = 0;
    const app::HealthCheck check(
        "OVO", 20ms, [&] { return ++checks > 0; }, [&] { ++healthy; });
    EXPECT_TRUE(waitUntil([&] { return healthy >= 5; }));
    EXPECT_GE(Clock::now() - begin, 100ms);
}

TEST(HealthCheck, AFalseCheckIsOneLineAndNotReported) {
    const LogRecorder log;
    std::atomic<int> checks = 0;
    std::atomic<int> healthy = 0;
    {
        const app::HealthCheck check(
            "OVO", 5ms, [&] { return ++checks > 2; }, [&] { ++healthy; });
        ASSERT_TRUE(waitUntil([&] { return healthy >= 1; }));
    }
    EXPECT_EQ(log.count(3, "Health check of OVO failed"), 2U);
    EXPECT_LE(healthy, checks - 2);
}

TEST(HealthCheck, ACheckThatThrowsCountsAsFailed) {
    const LogRecorder log;
    std::atomic<int> healthy = 0;
    const app::HealthCheck check(
        "OVO", 5ms, []() -> bool { throw std::runtime_error("no answer"); }, [&] { ++healthy; });
    EXPECT_TRUE(log.waitFor(3, "Health check of OVO failed: no answer"));
    EXPECT_EQ(healthy, 0);
}

TEST(HealthCheck, ACheckThatBlocksReportsNothingUntilItReturns) {
    std::atomic<bool> begun = false;
    std::atomic<bool> release = false;
    std::atomic<int> healthy = 0;
    const app::HealthCheck check(
        "OVO", 1ms,
        [&] {
            begun = true;
            return waitUntil([&] { return release.load(); });
        },
        [&] { ++healthy; });
    ASSERT_TRUE(waitUntil([&] { return begun.load(); }));
    EXPECT_EQ(healthy, 0);
    release = true;
    EXPECT_TRUE(waitUntil([&] { return healthy >= 1; }));
}

TEST(HealthCheck, EndsWithoutWaitingForTheInterval) {
    const auto begin = Clock::now();
    {
        const app::HealthCheck check(
            "OVO", 1h, [] { return true; }, [] {});
    }
    EXPECT_LT(Clock::now() - begin, 20s);
}

TEST(HealthCheck, TheEndWaitsForARunningCheck) {
    std::atomic<bool> begun = false;
    std::atomic<bool> release = false;
    std::atomic<bool> done = false;
    std::thread releasing;
    {
        const app::HealthCheck check(
            "OVO", 1ms,
            [&] {
                begun = true;
                waitUntil([&] { return release.load(); });
                done = true;
                return true;
            },
            [] {});
        ASSERT_TRUE(waitUntil([&] { return begun.load(); }));
        releasing = std::thread([&] { release = true; });
    }
    EXPECT_TRUE(done);
    releasing.join();
}

} // namespace
