#include "RunningProgram.h"
#include "Sanitizers.h"
#include "WaitUntil.h"

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

/// The time over which nothing may happen is what is tested here, so it passes for real.
void expectIdle(const RunningProgram& program, pid_t pid, std::chrono::milliseconds window) {
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
    std::this_thread::sleep_for(window);
    EXPECT_EQ(sleeps(pid), before);
}

TEST(Idle, NoThreadOfTheFrameworkWakesUp) {
    if constexpr (THREAD_SANITIZED)
        GTEST_SKIP() << "the sanitizer has a thread of its own that wakes up";
    RunningProgram program({"no-clients"});
    expectIdle(program, program.process().pid(), std::chrono::milliseconds(500));
}

} // namespace
