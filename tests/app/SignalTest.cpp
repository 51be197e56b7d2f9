// SPDX-License-Identifier: Apache-2.0
#include "RunningProgram.h"
#include "app/HaldenApplication.h"
#include "app/SignalThread.h"
#include "support/process/Proc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <chrono>
#include <csignal>
#include <string>
#include <vector>

namespace {

using app::FORCED_END_STATUS;
using testing::HasSubstr;
using testing::Not;

constexpr const char* SECOND_SIGNAL = "UnderTest is ended at once: a second signal to end arrived";

std::string textOf(int signal) {
    return std::string("SIG") + ::sigabbrev_np(signal);
}

class EndingSignal : public testing::TestWithParam<int> {};

TEST_P(EndingSignal, EndsTheProcessInOrder) {
    RunningProgram program({});
    ASSERT_TRUE(program.waitFor("running"));
    program.process().signal(GetParam());
    EXPECT_EQ(program.process().wait(), 0);
    EXPECT_TRUE(program.hasSaid("UnderTest is ending, told so by " + textOf(GetParam())))
        << program.output();
    EXPECT_TRUE(program.hasSaid("cleaned up")) << program.output();
    EXPECT_TRUE(program.hasSaid("destroyed")) << program.output();
}

TEST_P(EndingSignal, IsBlockedInEveryThread) {
    RunningProgram program({});
    ASSERT_TRUE(program.waitFor("running"));
    const std::vector<proc::Thread> threads = proc::threadsOf(program.process().pid());
    for (const proc::Thread& thread : threads) {
        const unsigned long long blocked = std::stoull(thread.status("SigBlk"), nullptr, 16);
        EXPECT_NE(blocked & (1ULL << (static_cast<unsigned>(GetParam()) - 1U)), 0U) << thread.name;
    }
    // Main, signals, message thread, store, bus, health check.
    EXPECT_GE(threads.size(), 6U);
}

TEST_P(EndingSignal, ASecondOneEndsAtOnce) {
    RunningProgram program({"wait-in-cleanup"});
    ASSERT_TRUE(program.waitFor("running"));
    program.process().signal(GetParam());
    ASSERT_TRUE(program.waitFor("waiting in cleanup"));
    program.process().signal(GetParam());
    EXPECT_EQ(program.process().wait(), FORCED_END_STATUS);
    EXPECT_THAT(program.output(), HasSubstr(SECOND_SIGNAL));
    EXPECT_THAT(program.output(), Not(HasSubstr("cleaned up")));
}

std::string nameOf(const testing::TestParamInfo<int>& info) {
    return textOf(info.param);
}

INSTANTIATE_TEST_SUITE_P(Each, EndingSignal, testing::Values(SIGTERM, SIGINT, SIGHUP), nameOf);

TEST(Signals, OneOfEachKindAreTwo) {
    RunningProgram program({"wait-in-cleanup"});
    ASSERT_TRUE(program.waitFor("running"));
    program.process().signal(SIGTERM);
    ASSERT_TRUE(program.waitFor("waiting in cleanup"));
    program.process().signal(SIGINT);
    EXPECT_EQ(program.process().wait(), FORCED_END_STATUS);
}

TEST(Signals, DuringSetupLeadToTheEndOnceItIsDone) {
    RunningProgram program({"wait-in-setup"});
    ASSERT_TRUE(program.waitFor("waiting in setup"));
    program.process().signal(SIGTERM);
    ASSERT_TRUE(program.waitFor("told to end"));
    program.go();
    EXPECT_EQ(program.process().wait(), 0);
    EXPECT_FALSE(program.hasSaid("running")) << program.output();
    EXPECT_TRUE(program.hasSaid("cleaned up")) << program.output();
    EXPECT_TRUE(program.hasSaid("destroyed")) << program.output();
}

TEST(Signals, ASecondOneEndsASetupThatHangs) {
    RunningProgram program({"wait-in-setup"});
    ASSERT_TRUE(program.waitFor("waiting in setup"));
    program.process().signal(SIGTERM);
    // Two of the same kind that nobody has taken yet are one to the kernel.
    program.process().signal(SIGINT);
    EXPECT_EQ(program.process().wait(), FORCED_END_STATUS);
    EXPECT_THAT(program.output(), HasSubstr(SECOND_SIGNAL));
}

TEST(Signals, ATerminationThatHangsDoesNotKeepTheProcess) {
    RunningProgram program({"wait-in-termination", "end=200"});
    ASSERT_TRUE(program.waitFor("running"));
    program.process().signal(SIGTERM);
    EXPECT_EQ(program.process().wait(), FORCED_END_STATUS);
    EXPECT_FALSE(program.hasSaid("destroyed")) << program.output();
}

TEST(Signals, TheEndWaitsForATerminationThatTakesTime) {
    RunningProgram program({"wait-in-termination"});
    ASSERT_TRUE(program.waitFor("running"));
    program.process().signal(SIGTERM);
    ASSERT_TRUE(program.waitFor("waiting in termination"));
    program.go();
    EXPECT_EQ(program.process().wait(), 0);
    EXPECT_TRUE(program.hasSaid("destroyed")) << program.output();
}

TEST(Signals, APipeThatNobodyReadsDoesNotEndTheProcess) {
    RunningProgram program({"kill-own-pipe"});
    ASSERT_TRUE(program.waitFor("running"));
    EXPECT_TRUE(program.hasSaid("writing to the closed pipe failed"));
    EXPECT_EQ(program.process().terminate(), 0);
}

TEST(Signals, ALogThatHangsDoesNotKeepTheProcess) {
    // A thread of the bus would say that there is no broker. Who then waits for it to get its line
    // out would not be given the signal by the thread sanitizer.
    RunningProgram program({"hang-log", "no-bus"});
    ASSERT_TRUE(program.waitFor("log hangs"));
    program.process().signal(SIGTERM);
    program.process().signal(SIGINT);
    EXPECT_EQ(program.process().wait(), FORCED_END_STATUS);
}

/// Where the end can hang.
class TimeToEnd : public testing::TestWithParam<const char*> {};

TEST_P(TimeToEnd, EndsTheProcess) {
    const std::string place = GetParam();
    RunningProgram program({"wait-in-" + place, "end=200", "health-every=1"});
    ASSERT_TRUE(program.waitFor(place == "setup" ? "waiting in setup" : "running"));
    if (place == "health") {
        ASSERT_TRUE(program.waitFor("waiting in health"));
    }
    program.process().signal(SIGTERM);
    EXPECT_EQ(program.process().wait(), FORCED_END_STATUS);
    EXPECT_TRUE(program.hasSaid("waiting in " + place)) << program.output();
    EXPECT_THAT(program.output(), HasSubstr("UnderTest is ended at once: it has not ended within "
                                            "200 ms after the signal to end"));
    EXPECT_FALSE(program.hasSaid("destroyed")) << program.output();
}

INSTANTIATE_TEST_SUITE_P(Places, TimeToEnd, testing::Values("setup", "health", "cleanup", "member"),
                         [](const auto& place) { return std::string(place.param); });

TEST(Signals, TheTimeToEndIsFifteenSeconds) {
    struct Access : app::HaldenApplication {
        using HaldenApplication::Times;
    };
    EXPECT_EQ(Access::Times().end, std::chrono::seconds(15));
    EXPECT_EQ(Access::Times().healthCheck, std::chrono::seconds(30));
}

} // namespace
