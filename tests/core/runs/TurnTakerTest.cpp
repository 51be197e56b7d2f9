// SPDX-License-Identifier: Apache-2.0
#include "common/TurnTaker.h"

#include "WatchedThreads.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace {

using common::TurnTaker;
using namespace std::chrono_literals;

TEST(TurnTaker, OneThreadAtATimeHasTheTurn) {
    TurnTaker taker;
    std::atomic<int> inside = 0;
    std::atomic<int> most = 0;
    {
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([&] {
                for (int round = 0; round < 100; ++round) {
                    const TurnTaker::Turn turn(taker);
                    most = std::max(most.load(), ++inside);
                    std::this_thread::yield();
                    --inside;
                }
            });
    }
    EXPECT_EQ(most, 1);
}

TEST(TurnTaker, AWaiterGetsTheTurnThatIsGivenBack) {
    std::atomic<int> waits = 0;
    const WatchedThreads watched({.onWait = [&] {
        ++waits;
        return false;
    }});
    TurnTaker taker;
    std::future<void> waiting;
    {
        const TurnTaker::Turn turn(taker);
        waiting = std::async(std::launch::async, [&] { const TurnTaker::Turn next(taker); });
        EXPECT_TRUE(waitUntil([&] { return waits >= 1; }));
    }
    EXPECT_EQ(waiting.wait_for(20s), std::future_status::ready);
}

} // namespace
