#include "TurnTaker.h"

#include "WaitUntil.h"
#include "WatchedThreads.h"

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

TEST(TurnTaker, ATurnThatDoesNotComeInTimeIsNotHeldAndNotGivenBack) {
    TurnTaker taker;
    const TurnTaker::Turn first(taker);
    EXPECT_TRUE(first.isHeld());
    const auto soon = [] {
        return std::chrono::steady_clock::now() + 5ms;
    };
    EXPECT_FALSE(TurnTaker::Turn(taker, soon()).isHeld());
    EXPECT_FALSE(TurnTaker::Turn(taker, soon()).isHeld()) << "the first one still has it";
}

TEST(TurnTaker, AWaiterGetsTheTurnThatIsGivenBack) {
    std::atomic<int> waits = 0;
    const WatchedThreads watched({.onWait =
                                      [&] {
                                          ++waits;
                                          return false;
                                      },
                                  .onTimedWait =
                                      [&](const WatchedThreads::TimedWait&) {
                                          ++waits;
                                          return false;
                                      }});
    TurnTaker taker;
    std::future<bool> withDeadline;
    std::future<bool> withoutDeadline;
    {
        const TurnTaker::Turn turn(taker);
        withDeadline = std::async(std::launch::async, [&] {
            return TurnTaker::Turn(taker, std::chrono::steady_clock::now() + 20s).isHeld();
        });
        withoutDeadline =
            std::async(std::launch::async, [&] { return TurnTaker::Turn(taker).isHeld(); });
        EXPECT_TRUE(waitUntil([&] { return waits >= 2; }));
    }
    EXPECT_TRUE(withDeadline.get());
    EXPECT_TRUE(withoutDeadline.get());
}

} // namespace
