// SPDX-License-Identifier: Apache-2.0
#include "RunningProgram.h"
#include "Sanitizers.h"
#include "support/ipc/Broker.h"
#include "support/ipc/BusPeer.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>

namespace {

/// How often each thread of a process went to sleep so far.
std::map<std::string, std::string> sleeps(pid_t pid) {
    std::map<std::string, std::string> result;
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        std::istringstream status(readHostFile(task.path().string() + "/status"));
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("voluntary_ctxt_switches:", 0) == 0)
                result[task.path().filename().string()] = line;
        }
    }
    return result;
}

/// What is tested here is that nothing happens for some time, so it passes for real: long enough
/// for a thread that looks around every second.
constexpr std::chrono::milliseconds WINDOW{1100};

void expectIdle(const RunningProgram& program, pid_t pid) {
    ASSERT_TRUE(program.waitFor("running"));
    // Threads may still be on their way to their first sleep.
    auto before = sleeps(pid);
    ASSERT_TRUE(waitUntil([&] {
        const auto previous = before;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        before = sleeps(pid);
        return before == previous;
    }));
    ASSERT_FALSE(before.empty());
    std::this_thread::sleep_for(WINDOW);
    EXPECT_EQ(sleeps(pid), before);
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
