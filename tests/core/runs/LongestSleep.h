// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "WatchedThreads.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

/// How long another thread sleeps on a condition variable when nobody wakes it. Its sleeps are cut
/// short, so that it begins many of them in little time. Made before the thread.
class LongestSleep {
public:
    /// The longest of many sleeps that begin from now on: what the thread asks for, less the moment
    /// between its reading of the clock and the sleep.
    std::chrono::nanoseconds measure() {
        longest = std::chrono::nanoseconds(0);
        missing = SLEEPS;
        EXPECT_TRUE(waitUntil([this] { return missing == 0; }));
        return longest;
    }

private:
    static constexpr int SLEEPS = 200;

    bool begin(const WatchedThreads::TimedWait& wait) {
        if (std::this_thread::get_id() == tester)
            return false;
        // The first one may have been worked out before the measurement began.
        if (const int number = missing; number > 0) {
            if (number < SLEEPS)
                longest = std::max(longest.load(), wait.left);
            missing = number - 1;
        }
        return true;
    }

    const std::thread::id tester = std::this_thread::get_id();
    std::atomic<int> missing = 0;
    std::atomic<std::chrono::nanoseconds> longest{std::chrono::nanoseconds(0)};
    const WatchedThreads watched{{.onTimedWait = [this](const WatchedThreads::TimedWait& wait) {
        return begin(wait);
    }}};
};
