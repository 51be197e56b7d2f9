// SPDX-License-Identifier: Apache-2.0
#include "ipc/mosquitto/MessageThread.h"

#include "support/logger/LogRecorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using ipc::MessageThread;

TEST(MessageThread, RunsEverythingOnOneThreadOfItsOwn) {
    MessageThread messageThread;
    std::promise<std::thread::id> first;
    std::promise<std::thread::id> second;
    messageThread.post([&first] { first.set_value(std::this_thread::get_id()); });
    messageThread.post([&second] { second.set_value(std::this_thread::get_id()); });
    const std::thread::id id = first.get_future().get();
    EXPECT_EQ(id, second.get_future().get());
    EXPECT_NE(id, std::this_thread::get_id());
}

TEST(MessageThread, KeepsTheOrderOfEachPostingThread) {
    MessageThread messageThread;
    constexpr int THREADS = 4;
    constexpr int TASKS = 500;
    std::vector<int> next(THREADS, 0);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] {
            for (int number = 0; number < TASKS; ++number)
                messageThread.post([&, thread, number] { wrong += next[thread]++ != number; });
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::promise<void> done;
    messageThread.post([&done] { done.set_value(); });
    done.get_future().wait();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(next, std::vector<int>(THREADS, TASKS));
}

TEST(MessageThread, StopFinishesTheRunningTaskAndDropsTheRestWithOneLine) {
    const LogRecorder log;
    MessageThread messageThread;
    std::promise<void> started;
    std::promise<void> released;
    std::atomic<bool> finished{false};
    std::atomic<int> others{0};
    messageThread.post([&] {
        started.set_value();
        released.get_future().wait();
        finished = true;
    });
    messageThread.post([&others] { ++others; });
    messageThread.post([&others] { ++others; });
    started.get_future().wait();
    auto finishedThen = std::async(std::launch::async, [&] {
        messageThread.stop();
        return finished.load();
    });
    // What waited is dropped right before the wait for the running task.
    EXPECT_TRUE(log.waitFor(2, "Message thread stops, 2 waiting task(s) dropped"));
    released.set_value();
    EXPECT_TRUE(finishedThen.get());
    EXPECT_EQ(others, 0);
}

TEST(MessageThread, StopWithoutWaitingTasksSaysNothing) {
    const LogRecorder log;
    MessageThread messageThread;
    messageThread.stop();
    messageThread.stop();
    EXPECT_TRUE(log.lines().empty());
}

TEST(MessageThread, EveryCallerOfStopReturnsAfterTheEnd) {
    MessageThread messageThread;
    std::atomic<bool> finished{false};
    std::promise<void> started;
    messageThread.post([&] {
        started.set_value();
        for (int turn = 0; turn < 100; ++turn)
            std::this_thread::yield();
        finished = true;
    });
    started.get_future().wait();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            messageThread.stop();
            EXPECT_TRUE(finished);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST(MessageThread, CannotStopItself) {
    MessageThread messageThread;
    std::promise<bool> refused;
    messageThread.post([&] {
        try {
            messageThread.stop();
            refused.set_value(false);
        } catch (const std::logic_error&) {
            refused.set_value(true);
        }
    });
    EXPECT_TRUE(refused.get_future().get());
}

TEST(MessageThread, NoLockIsHeldWhileATaskRunsOrGoes) {
    MessageThread messageThread;
    std::promise<void> done;
    // A lock held meanwhile would stop these calls for ever.
    struct PostsWhenItGoes {
        MessageThread& thread;
        std::promise<void>& done;
        PostsWhenItGoes(MessageThread& where, std::promise<void>& what)
            : thread(where), done(what) {}
        ~PostsWhenItGoes() {
            thread.post([&done = done] { done.set_value(); });
        }
    };
    messageThread.post([guard = std::make_shared<PostsWhenItGoes>(messageThread, done)] {});
    EXPECT_EQ(done.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

} // namespace
