// SPDX-License-Identifier: Apache-2.0
// The hand-shake, down to where its threads wait, are woken and hold its mutex. Its log lines come
// to this file, which brings a logger of its own.

#include "ProvisioningWatchdog/ProgressReporter.h"

#include "WatchedThreads.h"
#include "logger/Logger.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Line {
    std::string text;         ///< "LEVEL SOURCE: TEXT"
    unsigned int heldMutexes; ///< by the thread that wrote it

    bool operator==(const Line& other) const = default;
};

void PrintTo(const Line& line, std::ostream* stream) {
    *stream << line.text << " (with " << line.heldMutexes << " mutexes)";
}

struct Log {
    std::mutex mutex;
    std::vector<Line> lines;
};

Log& theLog() {
    static Log log;
    return log;
}

} // namespace

namespace logger {

void write(const Record& record) noexcept {
    const unsigned int held = WatchedThreads::heldMutexes();
    const std::lock_guard lock(theLog().mutex);
    theLog().lines.push_back({std::to_string(record.level) + " " + std::string(record.source) +
                                  ": " + std::string(record.text),
                              held});
}

bool isEnabled(int) noexcept {
    return true;
}

} // namespace logger

namespace {

using testing::ElementsAre;
using testing::SizeIs;
using namespace std::chrono_literals;

constexpr char WAITING[] = "1 ProgressReporter: Waiting for progress";
constexpr char CONSUMED[] = "1 ProgressReporter: Progress consumed";

class ProgressReporterTest : public testing::Test {
protected:
    ProgressReporterTest() {
        const std::lock_guard lock(theLog().mutex);
        theLog().lines.clear();
    }

    static std::vector<Line> lines() {
        const std::lock_guard lock(theLog().mutex);
        return theLog().lines;
    }

    static std::vector<std::string> texts() {
        std::vector<std::string> result;
        for (const Line& line : lines())
            result.push_back(line.text);
        return result;
    }

    std::future<void> waitOnAnotherThread() {
        return std::async(std::launch::async, [this] { reporter.waitAndConsumeProgress(); });
    }

    /// True when a wait on another thread has come to where it sleeps for the so-manieth time,
    /// false when it has returned instead.
    bool sleeps(const std::future<void>& wait, unsigned int times = 1) const {
        const auto hasReturned = [&] {
            return wait.wait_for(0ms) == std::future_status::ready;
        };
        return waitUntil([&] { return sleepsBegun >= times || hasReturned(); }) &&
               sleepsBegun >= times;
    }

    std::atomic<unsigned int> sleepsBegun = 0;
    std::atomic<unsigned int> wakeUpsWithoutReason = 0; ///< still to come
    std::vector<unsigned int> heldWhenNotified;
    const WatchedThreads watched{{.onWait =
                                      [this] {
                                          ++sleepsBegun;
                                          if (wakeUpsWithoutReason == 0)
                                              return false;
                                          --wakeUpsWithoutReason;
                                          return true;
                                      },
                                  .onNotifyOne =
                                      [this] {
                                          heldWhenNotified.push_back(WatchedThreads::heldMutexes());
                                      }}};
    ovo::ProgressReporter reporter;
};

TEST_F(ProgressReporterTest, SignalsDoNotCount) {
    reporter.doProgress();
    reporter.doProgress();
    reporter.waitAndConsumeProgress();
    auto second = waitOnAnotherThread();
    EXPECT_TRUE(sleeps(second));
    reporter.doProgress();
    second.get();
}

TEST_F(ProgressReporterTest, NothingIsPendingAtFirst) {
    auto wait = waitOnAnotherThread();
    EXPECT_TRUE(sleeps(wait));
    reporter.doProgress();
    wait.get();
}

TEST_F(ProgressReporterTest, ASignalGivenWhileNobodyWaitsStaysPending) {
    std::thread([&] { reporter.doProgress(); }).join();
    reporter.waitAndConsumeProgress();
    EXPECT_EQ(sleepsBegun, 0U);
    EXPECT_THAT(texts(), ElementsAre(WAITING, CONSUMED));
}

TEST_F(ProgressReporterTest, ResetDropsAPendingSignal) {
    reporter.doProgress();
    reporter.reset();
    auto wait = waitOnAnotherThread();
    EXPECT_TRUE(sleeps(wait));
    reporter.doProgress();
    wait.get();
}

TEST_F(ProgressReporterTest, AWaitThatBeganBeforeTheSignalEndsWithIt) {
    auto wait = waitOnAnotherThread();
    EXPECT_TRUE(sleeps(wait));
    EXPECT_THAT(texts(), ElementsAre(WAITING));
    reporter.doProgress();
    wait.get();
    EXPECT_THAT(texts(), ElementsAre(WAITING, CONSUMED));
}

TEST_F(ProgressReporterTest, AWaitThatWakesWithoutASignalSleepsAgain) {
    wakeUpsWithoutReason = 3;
    auto wait = waitOnAnotherThread();
    EXPECT_TRUE(sleeps(wait, 4));
    EXPECT_THAT(texts(), ElementsAre(WAITING));
    reporter.doProgress();
    wait.get();
}

TEST_F(ProgressReporterTest, TheWaitIsLoggedWithoutTheMutexAndTheConsumptionWithIt) {
    {
        std::mutex any;
        const std::lock_guard lock(any);
        ASSERT_EQ(WatchedThreads::heldMutexes(), 1U) << "mutexes are counted";
    }
    ASSERT_EQ(WatchedThreads::heldMutexes(), 0U);
    reporter.doProgress();
    reporter.waitAndConsumeProgress();
    EXPECT_THAT(lines(), ElementsAre(Line{WAITING, 0}, Line{CONSUMED, 1}));
    auto wait = waitOnAnotherThread();
    EXPECT_TRUE(sleeps(wait));
    reporter.doProgress();
    wait.get();
    EXPECT_THAT(lines(), ElementsAre(Line{WAITING, 0}, Line{CONSUMED, 1}, Line{WAITING, 0},
                                     Line{CONSUMED, 1}));
}

TEST_F(ProgressReporterTest, OneWaiterIsNotifiedAfterTheMutexHasBeenReleased) {
    reporter.doProgress();
    EXPECT_THAT(heldWhenNotified, ElementsAre(0U));
    reporter.reset();
    EXPECT_THAT(heldWhenNotified, ElementsAre(0U)) << "dropping a signal is none";
}

TEST_F(ProgressReporterTest, ASignalBesideAPendingOneWakesNobody) {
    reporter.doProgress();
    reporter.doProgress();
    EXPECT_THAT(heldWhenNotified, SizeIs(1));
    reporter.waitAndConsumeProgress();
    reporter.doProgress();
    EXPECT_THAT(heldWhenNotified, SizeIs(2)) << "the one before is consumed";
}

TEST_F(ProgressReporterTest, EverySignalGivenDuringAWaitEndsIt) {
    constexpr unsigned int ROUNDS = 300;
    std::promise<void> consumed;
    std::thread waiter([&] {
        for (unsigned int round = 0; round < ROUNDS; ++round)
            reporter.waitAndConsumeProgress();
        consumed.set_value();
    });
    auto done = consumed.get_future();
    while (done.wait_for(0ms) != std::future_status::ready)
        reporter.doProgress();
    waiter.join();
    EXPECT_EQ(lines().size(), 2 * ROUNDS);
    EXPECT_EQ(lines().back().text, CONSUMED);
}

} // namespace
