#include "RunningProgram.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#if defined(__SANITIZE_THREAD__)
#define THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define THREAD_SANITIZER 1
#endif
#endif

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
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const auto before = sleeps(pid);
    ASSERT_FALSE(before.empty());
    std::this_thread::sleep_for(window);
    EXPECT_EQ(sleeps(pid), before);
}

TEST(Idle, NoThreadOfTheFrameworkWakesUp) {
#ifdef THREAD_SANITIZER
    GTEST_SKIP() << "the sanitizer has a thread of its own that wakes up";
#endif
    RunningProgram program({"no-clients"});
    expectIdle(program, program.process().pid(), std::chrono::milliseconds(500));
}

} // namespace
