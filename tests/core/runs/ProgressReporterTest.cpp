#include "ProvisioningWatchdog/ProgressReporter.h"

#include "LogRecorder.h"
#include "WaitUntil.h"

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace {

using testing::ElementsAre;
using namespace std::chrono_literals;

std::future<void> waitOnAnotherThread(ovo::ProgressReporter& reporter) {
    return std::async(std::launch::async, [&reporter] { reporter.waitAndConsumeProgress(); });
}

/// True when a wait that has begun is still waiting a moment later.
bool isBlocked(const LogRecorder& log, const std::future<void>& wait) {
    waitUntil(
        [&] { return log.count(1, "Waiting for progress") > log.count(1, "Progress consumed"); });
    return wait.wait_for(50ms) == std::future_status::timeout;
}

TEST(ProgressReporter, SignalsDoNotCount) {
    const LogRecorder log;
    ovo::ProgressReporter reporter;
    reporter.doProgress();
    reporter.doProgress();
    reporter.waitAndConsumeProgress();
    auto second = waitOnAnotherThread(reporter);
    EXPECT_TRUE(isBlocked(log, second));
    reporter.doProgress();
    second.get();
}

TEST(ProgressReporter, NothingIsPendingAtFirst) {
    const LogRecorder log;
    ovo::ProgressReporter reporter;
    auto wait = waitOnAnotherThread(reporter);
    EXPECT_TRUE(isBlocked(log, wait));
    reporter.doProgress();
    wait.get();
}

TEST(ProgressReporter, ASignalGivenWhileNobodyWaitsStaysPending) {
    const LogRecorder log;
    ovo::ProgressReporter reporter;
    std::thread([&] { reporter.doProgress(); }).join();
    reporter.waitAndConsumeProgress();
    EXPECT_THAT(log.texts(), ElementsAre("1 ProgressReporter: Waiting for progress",
                                         "1 ProgressReporter: Progress consumed"));
}

TEST(ProgressReporter, ResetDropsAPendingSignal) {
    const LogRecorder log;
    ovo::ProgressReporter reporter;
    reporter.doProgress();
    reporter.reset();
    auto wait = waitOnAnotherThread(reporter);
    EXPECT_TRUE(isBlocked(log, wait));
    reporter.doProgress();
    wait.get();
}

TEST(ProgressReporter, AWaitThatBeganBeforeTheSignalEndsWithIt) {
    const LogRecorder log;
    ovo::ProgressReporter reporter;
    auto wait = waitOnAnotherThread(reporter);
    ASSERT_TRUE(log.waitFor(1, "Waiting for progress"));
    EXPECT_FALSE(log.has(1, "Progress consumed"));
    reporter.doProgress();
    wait.get();
    EXPECT_THAT(log.texts(), ElementsAre("1 ProgressReporter: Waiting for progress",
                                         "1 ProgressReporter: Progress consumed"));
}

TEST(ProgressReporter, EverySignalGivenDuringAWaitEndsIt) {
    const LogRecorder log;
    ovo::ProgressReporter reporter;
    constexpr int ROUNDS = 300;
    std::promise<void> consumed;
    std::thread waiter([&] {
        for (int round = 0; round < ROUNDS; ++round)
            reporter.waitAndConsumeProgress();
        consumed.set_value();
    });
    auto done = consumed.get_future();
    while (done.wait_for(0ms) != std::future_status::ready)
        reporter.doProgress();
    waiter.join();
    EXPECT_EQ(log.count(1, "Progress consumed"), static_cast<std::size_t>(ROUNDS));
}

} // namespace
