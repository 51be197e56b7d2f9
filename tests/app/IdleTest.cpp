// SPDX-License-Identifier: Apache-2.0
#include "RunningProgram.h"
#include "support/ipc/Broker.h"
#include "support/ipc/BusPeer.h"
#include "support/process/Proc.h"
#include "support/process/Sanitizers.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

/// The time in which no thread wakes up: longer than the second after which one that polls would.
constexpr std::chrono::milliseconds WINDOW{1100};

void expectIdle(const RunningProgram& program, pid_t pid) {
    ASSERT_TRUE(program.waitFor("running"));
    // Threads may still be on their way to their first sleep.
    auto before = proc::sleepsOf(pid);
    ASSERT_TRUE(waitUntil([&] {
        const auto previous = before;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        before = proc::sleepsOf(pid);
        return before == previous;
    }));
    ASSERT_FALSE(before.empty());
    std::this_thread::sleep_for(WINDOW);
    EXPECT_EQ(proc::sleepsOf(pid), before);
}

TEST(Idle, NoThreadOfTheFrameworkWakesUp) {
    if constexpr (THREAD_SANITIZED)
        GTEST_SKIP() << "the sanitizer has a thread of its own that wakes up";
    RunningProgram program({"no-store", "no-bus"});
    expectIdle(program, program.process().pid());
}

TEST(Idle, NoThreadWakesUpOnAQuietBus) {
    if constexpr (THREAD_SANITIZED)
        GTEST_SKIP() << "the sanitizer has a thread of its own that wakes up";
    const Broker broker;
    BusPeer peer(broker.address());
    RunningProgram program({"no-store"}, {{"HALDEN_BUS", broker.address()}});
    ASSERT_TRUE(waitUntil([&] {
        peer.publish("tester/under-test", R"({"name": "Ping", "parameters": {}, "flag": true})");
        return peer.waitForCount("under-test/tester", 1, std::chrono::milliseconds(10));
    }));
    expectIdle(program, program.process().pid());
}

} // namespace
