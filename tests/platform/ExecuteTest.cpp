// SPDX-License-Identifier: Apache-2.0
#include "os/Execute.h"

#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr unsigned int LONG_MS = 30000;

class Execute : public testing::Test {
protected:
    /// A program of the phone.
    void script(const std::string& path, const std::string& body) const {
        phone.write(path, "#!/bin/sh\n" + body + "\n");
        ASSERT_EQ(::chmod(phone.host(path).c_str(), 0755), 0);
    }
    std::string out() const { return phone.host("/out"); }

    const PhoneRoot phone;
    LogRecorder log;
};

/// 0 when the text is none.
pid_t processNumber(const std::string& text) {
    return static_cast<pid_t>(std::strtol(text.c_str(), nullptr, 10));
}

/// True while a process of that number is there and no zombie.
bool isAlive(pid_t pid) {
    const std::string status = readHostFile("/proc/" + std::to_string(pid) + "/stat");
    return !status.empty() && status.find(") Z ") == std::string::npos;
}

TEST_F(Execute, RunsAProgramBelowTheRootWithItsArguments) {
    script("/usr/sbin/tool", "for a in \"$@\"; do echo \"[$a]\"; done > " + out());
    EXPECT_EQ(os::execute("/usr/sbin/tool one  two\" $HOME ;exit *", LONG_MS), 0);
    EXPECT_EQ(phone.read("/out"), "[one]\n[two\"]\n[$HOME]\n[;exit]\n[*]\n");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Execute, ReturnsTheExitStatus) {
    script("/tool", "exit $1");
    for (const int status : {0, 1, 77, 255})
        EXPECT_EQ(os::execute("/tool " + std::to_string(status), LONG_MS), status);
}

TEST_F(Execute, ReturnsTheSignalThatEndedIt) {
    script("/tool", "kill -$1 $$");
    EXPECT_EQ(os::execute("/tool TERM", LONG_MS), 128 + SIGTERM);
    EXPECT_EQ(os::execute("/tool KILL", LONG_MS), 128 + SIGKILL);
}

struct Unstartable {
    std::string command;
    const char* reason;
};

TEST_F(Execute, SaysWhatCouldNotBeStarted) {
    phone.write("/data", "no program");
    script("/noexec", "exit 0");
    ASSERT_EQ(::chmod(phone.host("/noexec").c_str(), 0644), 0);
    phone.write("/text", "no program");
    ASSERT_EQ(::chmod(phone.host("/text").c_str(), 0755), 0);
    const std::vector<Unstartable> cases{
        {"/none", "No such file or directory"},
        {"/bin/sh", "No such file or directory"},
        {"/noexec", "Permission denied"},
        {"/text", "Exec format error"},
        {"/", "Permission denied"},
        {"", "not absolute"},
        {"  ", "not absolute"},
        {"sh", "not absolute"},
        {"/../bin/sh", "\"..\" component"},
    };
    for (const Unstartable& example : cases) {
        LogRecorder each;
        EXPECT_EQ(os::execute(example.command, LONG_MS), -1) << example.command;
        ASSERT_EQ(each.lines().size(), 1U) << example.command;
        EXPECT_EQ(each.lines()[0].level, 2);
        EXPECT_THAT(each.lines()[0].text, HasSubstr(example.reason));
        EXPECT_THAT(each.lines()[0].text, HasSubstr("could not be run"));
    }
}

TEST_F(Execute, KillsTheProgramAndWhatItStartedAtTheTimeout) {
    // The program's own child holds on to the pipe's end and would outlive it.
    script("/tool",
           "trap '' TERM INT HUP; sleep 1000 > /dev/null 2>&1 & echo $! > " + out() + "; wait");
    // A busy machine may need longer than the first time-out to start them.
    pid_t grandchild = 0;
    unsigned int timeoutMs = 200;
    for (; grandchild == 0 && timeoutMs < LONG_MS; timeoutMs *= 2) {
        log.clear();
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(os::execute("/tool secret", timeoutMs), -1);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(timeoutMs));
        EXPECT_THAT(log.texts(),
                    ElementsAre("2 Execute: Command /tool was killed: it did not end within " +
                                std::to_string(timeoutMs) + " ms"));
        grandchild = processNumber(phone.read("/out"));
    }
    ASSERT_GT(grandchild, 0);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(grandchild); }));
    ::kill(grandchild, SIGKILL);
}

TEST_F(Execute, LeavesNoProcessBehind) {
    script("/quick", "exit 0");
    script("/slow", "exec sleep 1000");
    os::execute("/quick", LONG_MS);
    os::execute("/slow", 20);
    os::execute("/none", 20);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(Execute, AProgramThatEndsLeavesItsBackgroundProcessesAlone) {
    script("/tool", "sleep 1000 > /dev/null 2>&1 & echo $! > " + out());
    EXPECT_EQ(os::execute("/tool", LONG_MS), 0);
    const pid_t background = processNumber(phone.read("/out"));
    ASSERT_GT(background, 0);
    EXPECT_TRUE(isAlive(background));
    ::kill(background, SIGKILL);
}

TEST_F(Execute, StartsWithDefaultSignalsAndNoneBlocked) {
    script("/tool", "exec grep -E '^Sig(Blk|Ign)' /proc/self/status > " + out());
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGUSR1, SIG_IGN);
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::sigaddset(&blocked, SIGCHLD);
    sigset_t before;
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    EXPECT_EQ(os::execute("/tool", LONG_MS), 0);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    ::signal(SIGUSR1, SIG_DFL);
    // The libc keeps two real-time signals to itself; nothing else may show.
    const std::string sets = phone.read("/out");
    ASSERT_EQ(sets.size(), 2 * std::string("SigBlk:\t0000000000000000\n").size());
    constexpr unsigned long long LIBC_SIGNALS = 3ULL << 31U;
    for (const std::size_t begin : {std::size_t{8}, std::size_t{33}})
        EXPECT_EQ(std::stoull(sets.substr(begin, 16), nullptr, 16) & ~LIBC_SIGNALS, 0U) << sets;
}

TEST_F(Execute, InheritsNoDescriptorAndNoInput) {
    script("/tool", "for f in 3 4 5 6 7 8 9 99; do [ -e /proc/$$/fd/$f ] && echo $f; done > " +
                        out() + "; readlink /proc/$$/fd/0 >> " + out());
    const int leaky = ::open("/dev/null", O_RDONLY); // no O_CLOEXEC
    ASSERT_EQ(::dup2(leaky, 99), 99);
    EXPECT_EQ(os::execute("/tool", LONG_MS), 0);
    ::close(99);
    ::close(leaky);
    // The shell itself holds its script open, at 10 or above.
    EXPECT_EQ(phone.read("/out"), "/dev/null\n");
}

TEST_F(Execute, RunsInAProcessGroupOfItsOwn) {
    script("/tool", "cut -d' ' -f1,5 /proc/$$/stat > " + out());
    EXPECT_EQ(os::execute("/tool", LONG_MS), 0);
    const std::string numbers = phone.read("/out");
    const auto blank = numbers.find(' ');
    ASSERT_NE(blank, std::string::npos);
    EXPECT_EQ(numbers.substr(0, blank) + "\n", numbers.substr(blank + 1));
}

TEST_F(Execute, SeveralThreadsRunTheirOwnPrograms) {
    script("/tool", "exit $1");
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([thread] {
            for (int round = 0; round < 5; ++round)
                EXPECT_EQ(os::execute("/tool " + std::to_string(10 * thread + round), LONG_MS),
                          10 * thread + round);
        });
}

TEST_F(Execute, ATimeoutBeyondAllIntegersOfThePollIsKept) {
    script("/tool", "exit 3");
    EXPECT_EQ(os::execute("/tool", 4294967295U), 3);
}

} // namespace
