// SPDX-License-Identifier: Apache-2.0
#include "common/TimerScheduler.h"

#include "JoinWatch.h"
#include "LongestSleep.h"
#include "WatchedThreads.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <future>
#include <limits>
#include <memory>
#include <set>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr unsigned int LONG_IDLE_MS = 60'000;
constexpr unsigned long NEVER_MS = 3'600'000;

/// Stands still until the test moves it.
struct ManualClock {
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<ManualClock>;
    [[maybe_unused]] static constexpr bool is_steady = true;

    static time_point now() { return time_point(sinceStart.load()); }
    static void advance(duration step) { sinceStart = sinceStart.load() + step; }

    static inline std::atomic<duration> sinceStart{duration(0)};
};

/// The firings of a scheduler, in order.
class Fired {
public:
    using Entry = std::pair<unsigned long long, int>;

    void add(unsigned long long id, int value) {
        const std::lock_guard lock(mutex);
        list.emplace_back(id, value);
    }
    std::vector<Entry> all() const {
        const std::lock_guard lock(mutex);
        return list;
    }
    std::vector<int> values() const {
        std::vector<int> result;
        for (const Entry& entry : all())
            result.push_back(entry.second);
        return result;
    }
    bool waitFor(std::size_t count) const {
        return waitUntil([&] { return all().size() >= count; });
    }
    std::function<void(unsigned long long, int&)> callback() {
        return [this](unsigned long long id, int& value) {
            add(id, value);
        };
    }

private:
    mutable std::mutex mutex;
    std::vector<Entry> list;
};

/// Scheduling one more entry after all others and seeing it fire shows that what should have fired
/// before has had its chance.
template <typename Scheduler>
void passOnce(Scheduler& scheduler, const Fired& fired) {
    const Fired::Entry last(scheduler.schedule(-1, 0), -1);
    ASSERT_TRUE(waitUntil([&] {
        const std::vector<Fired::Entry> all = fired.all();
        return std::find(all.begin(), all.end(), last) != all.end();
    }));
}

TEST(TimerScheduler, IdsBeginWithOneAndAreNeverReused) {
    common::TimerScheduler<int> scheduler([](unsigned long long, int&) {}, LONG_IDLE_MS);
    EXPECT_EQ(scheduler.schedule(7, NEVER_MS), 1U);
    EXPECT_EQ(scheduler.schedule(7, NEVER_MS), 2U);
    scheduler.cancel(2);
    EXPECT_EQ(scheduler.schedule(7, NEVER_MS), 3U);
}

TEST(TimerScheduler, CallbackGetsIdAndValueOnce) {
    Fired fired;
    common::TimerScheduler<int> scheduler(fired.callback(), LONG_IDLE_MS);
    const auto id = scheduler.schedule(42, 0);
    ASSERT_TRUE(fired.waitFor(1));
    passOnce(scheduler, fired);
    EXPECT_THAT(fired.all(), ElementsAre(Fired::Entry(id, 42), Fired::Entry(id + 1, -1)));
}

TEST(TimerScheduler, CallbacksRunOnTheOneWorkerThread) {
    std::mutex mutex;
    std::set<std::thread::id> threads;
    std::atomic<int> count = 0;
    common::TimerScheduler<int> scheduler(
        [&](unsigned long long, int&) {
            const std::lock_guard lock(mutex);
            threads.insert(std::this_thread::get_id());
            ++count;
        },
        LONG_IDLE_MS);
    for (int entry = 0; entry < 5; ++entry)
        scheduler.schedule(entry, 0);
    ASSERT_TRUE(waitUntil([&] { return count == 5; }));
    scheduler.join();
    EXPECT_EQ(threads.size(), 1U);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST(TimerScheduler, DelayOfZeroFiresWithoutWaitingForTheIdleWait) {
    Fired fired;
    common::TimerScheduler<int> scheduler(fired.callback(), LONG_IDLE_MS);
    scheduler.schedule(1, 0);
    EXPECT_TRUE(fired.waitFor(1)); // far below the idle wait
}

TEST(TimerScheduler, NothingFiresBeforeItsDelayHasPassed) {
    std::promise<std::chrono::steady_clock::time_point> firedAt;
    common::TimerScheduler<int> scheduler(
        [&](unsigned long long, int&) { firedAt.set_value(std::chrono::steady_clock::now()); },
        LONG_IDLE_MS);
    const auto scheduled = std::chrono::steady_clock::now();
    scheduler.schedule(1, 60);
    EXPECT_GE(firedAt.get_future().get() - scheduled, 60ms);
}

TEST(TimerScheduler, FiresInOrderOfDueTimeAndForEqualOnesOfScheduling) {
    Fired fired;
    common::TimerScheduler<int, ManualClock> scheduler(fired.callback(), LONG_IDLE_MS);
    scheduler.schedule(20, 2);
    scheduler.schedule(30, 3);
    scheduler.schedule(21, 2);
    scheduler.schedule(10, 1);
    scheduler.schedule(22, 2);
    scheduler.schedule(31, 3);
    ManualClock::advance(5ms);
    scheduler.schedule(50, 0);
    ASSERT_TRUE(fired.waitFor(7));
    EXPECT_THAT(fired.values(), ElementsAre(10, 20, 21, 22, 30, 31, 50));
}

TEST(TimerScheduler, AnEntryIsDueExactlyWhenItsDelayHasPassed) {
    Fired fired;
    common::TimerScheduler<int, ManualClock> scheduler(fired.callback(), LONG_IDLE_MS);
    scheduler.schedule(1, 2);
    ManualClock::advance(2ms - 1ns);
    passOnce(scheduler, fired); // its own due time is earlier than that of the entry
    EXPECT_THAT(fired.values(), ElementsAre(-1));
    ManualClock::advance(1ns);
    passOnce(scheduler, fired);
    EXPECT_THAT(fired.values(), ElementsAre(-1, 1, -1));
}

TEST(TimerScheduler, AnEarlierEntryWakesTheWorkerThatSleepsForALaterOne) {
    Fired fired;
    std::atomic<std::chrono::nanoseconds> asleepFor{0ns};
    const WatchedThreads watched({.onTimedWait = [&](const WatchedThreads::TimedWait& wait) {
        asleepFor = wait.left;
        return false;
    }});
    common::TimerScheduler<int> scheduler(fired.callback(), LONG_IDLE_MS);
    const auto later = scheduler.schedule(1, NEVER_MS);
    ASSERT_TRUE(
        waitUntil([&] { return asleepFor.load() > std::chrono::milliseconds(LONG_IDLE_MS); }));
    scheduler.schedule(2, 1);
    ASSERT_TRUE(fired.waitFor(1));
    EXPECT_THAT(fired.values(), ElementsAre(2));
    EXPECT_EQ(scheduler.cancel(later), 1) << "still pending";
}

TEST(TimerScheduler, CallbackThatSchedulesIsNotCalledAgainBeforeItReturns) {
    std::vector<std::string> order; // by the worker only, until join()
    std::promise<void> done;
    common::TimerScheduler<int>* self = nullptr;
    common::TimerScheduler<int> scheduler(
        [&](unsigned long long, int& value) {
            order.push_back("enter " + std::to_string(value));
            if (value < 3)
                self->schedule(value + 1, 0);
            else
                done.set_value();
            order.push_back("leave " + std::to_string(value));
        },
        LONG_IDLE_MS);
    self = &scheduler;
    scheduler.schedule(1, 0);
    done.get_future().wait();
    scheduler.join();
    EXPECT_THAT(order,
                ElementsAre("enter 1", "leave 1", "enter 2", "leave 2", "enter 3", "leave 3"));
}

TEST(TimerScheduler, CallbackMayCancel) {
    Fired fired;
    std::atomic<unsigned long long> other = 0;
    std::atomic<int> cancelled = 0;
    common::TimerScheduler<int, ManualClock>* self = nullptr;
    common::TimerScheduler<int, ManualClock> scheduler(
        [&](unsigned long long id, int& value) {
            if (value == 1)
                cancelled = self->cancel(other);
            fired.add(id, value);
        },
        LONG_IDLE_MS);
    self = &scheduler;
    scheduler.schedule(1, 1);
    other = scheduler.schedule(2, 1); // due at the same moment, so already due when it is cancelled
    ManualClock::advance(1ms);
    passOnce(scheduler, fired);
    EXPECT_THAT(fired.values(), ElementsAre(1, -1));
    EXPECT_EQ(cancelled, 2);
}

TEST(TimerScheduler, CancelReturnsTheValueAndTheEntryNeverFires) {
    Fired fired;
    common::TimerScheduler<int, ManualClock> scheduler(fired.callback(), LONG_IDLE_MS);
    scheduler.schedule(1, 1);
    const auto id = scheduler.schedule(2, 1);
    scheduler.schedule(3, 1);
    EXPECT_EQ(scheduler.cancel(id), 2);
    EXPECT_EQ(scheduler.cancel(id), 0) << "it is gone";
    ManualClock::advance(1ms);
    passOnce(scheduler, fired);
    EXPECT_THAT(fired.values(), ElementsAre(1, 3, -1));
}

TEST(TimerScheduler, CancelOfWhatHasFiredOrNeverWasReturnsZeroAndChangesNothing) {
    Fired fired;
    common::TimerScheduler<int> scheduler(fired.callback(), LONG_IDLE_MS);
    const auto id = scheduler.schedule(5, 0);
    ASSERT_TRUE(fired.waitFor(1));
    scheduler.schedule(6, 1);
    EXPECT_EQ(scheduler.cancel(id), 0);
    EXPECT_EQ(scheduler.cancel(99), 0);
    EXPECT_EQ(scheduler.cancel(0), 0);
    EXPECT_EQ(scheduler.cancel(~0ULL), 0);
    ASSERT_TRUE(fired.waitFor(2));
    EXPECT_THAT(fired.values(), ElementsAre(5, 6));
}

TEST(TimerScheduler, AfterAbortIdsAreStillFreshButNothingFires) {
    Fired fired;
    common::TimerScheduler<int, ManualClock> scheduler(fired.callback(), 1);
    const auto pending = scheduler.schedule(1, 5);
    scheduler.abort();
    ManualClock::advance(5ms);
    EXPECT_EQ(scheduler.cancel(pending), 0) << "abort drops all entries";
    EXPECT_EQ(scheduler.schedule(2, 0), pending + 1);
    EXPECT_EQ(scheduler.schedule(3, 0), pending + 2);
    scheduler.abort();
    scheduler.join();
    EXPECT_THAT(fired.values(), IsEmpty());
}

/// Does something when the last of its copies goes.
struct Parting {
    std::shared_ptr<void> last;
};

TEST(TimerScheduler, ValuesMayUseTheSchedulerWhenTheyGo) {
    common::TimerScheduler<Parting>* self = nullptr;
    std::atomic<int> partings = 0;
    common::TimerScheduler<Parting> scheduler([](unsigned long long, Parting&) {}, LONG_IDLE_MS);
    self = &scheduler;
    const auto parting = [&] {
        return Parting{std::shared_ptr<void>(nullptr, [&](void*) {
            self->cancel(1);
            ++partings;
        })};
    };
    scheduler.cancel(scheduler.schedule(parting(), NEVER_MS));
    EXPECT_EQ(partings, 1);
    scheduler.schedule(parting(), 0);
    EXPECT_TRUE(waitUntil([&] { return partings == 2; }));
    scheduler.schedule(parting(), NEVER_MS);
    scheduler.abort();
    EXPECT_EQ(partings, 3);
}

TEST(TimerScheduler, TheLongestDelayIsNotDue) {
    Fired fired;
    common::TimerScheduler<int> scheduler(fired.callback(), LONG_IDLE_MS);
    const auto longest = scheduler.schedule(1, std::numeric_limits<unsigned long>::max());
    scheduler.schedule(2, 0);
    ASSERT_TRUE(fired.waitFor(1));
    EXPECT_THAT(fired.values(), ElementsAre(2));
    EXPECT_EQ(scheduler.cancel(longest), 1) << "still pending";
}

TEST(TimerScheduler, AbortFromACallbackDropsWhatIsDueAlready) {
    Fired fired;
    common::TimerScheduler<int, ManualClock>* self = nullptr;
    common::TimerScheduler<int, ManualClock> scheduler(
        [&](unsigned long long id, int& value) {
            fired.add(id, value);
            self->abort();
        },
        LONG_IDLE_MS);
    self = &scheduler;
    scheduler.schedule(1, 1);
    scheduler.schedule(2, 1);
    ManualClock::advance(1ms);
    scheduler.schedule(3, 0);
    ASSERT_TRUE(fired.waitFor(1));
    scheduler.join();
    EXPECT_THAT(fired.values(), ElementsAre(1));
}

TEST(TimerScheduler, DestructionDropsPendingEntriesAndWaitsForACallbackInProgress) {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<bool> left = false;
    std::atomic<int> calls = 0;
    auto scheduler = std::make_unique<common::TimerScheduler<int>>(
        [&](unsigned long long, int&) {
            ++calls;
            entered.set_value();
            mayLeave.get_future().wait();
            left = true;
        },
        LONG_IDLE_MS);
    scheduler->schedule(1, 0);
    scheduler->schedule(2, 0);
    scheduler->schedule(3, NEVER_MS);
    entered.get_future().wait();
    const JoinWatch watch;
    auto destroyed = std::async(std::launch::async, [&] {
        scheduler.reset();
        return left.load();
    });
    EXPECT_TRUE(watch.waitForJoin());
    mayLeave.set_value();
    EXPECT_TRUE(destroyed.get());
    EXPECT_EQ(calls, 1);
}

TEST(TimerScheduler, AWorkerThatWaitsForItsOwnEndGoesOn) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer loses a thread that waits for itself";
#endif
    // The system refuses to let a thread wait for itself, and that stays inside.
    std::promise<std::string> result;
    common::TimerScheduler<int>* self = nullptr;
    common::TimerScheduler<int> scheduler(
        [&](unsigned long long, int&) {
            try {
                self->join();
                result.set_value("returned");
            } catch (const std::exception& error) {
                result.set_value(error.what());
            }
        },
        LONG_IDLE_MS);
    self = &scheduler;
    scheduler.schedule(1, 0);
    EXPECT_EQ(result.get_future().get(), "returned");
    EXPECT_EQ(scheduler.cancel(scheduler.schedule(2, NEVER_MS)), 2) << "it can still be used";
}

TEST(TimerScheduler, JoinAbortsAndMayBeRepeated) {
    Fired fired;
    common::TimerScheduler<int> scheduler(fired.callback(), LONG_IDLE_MS);
    scheduler.schedule(1, NEVER_MS);
    scheduler.join();
    scheduler.join();
    EXPECT_THAT(fired.values(), IsEmpty());
}

// How long the worker sleeps.

TEST(TimerScheduler, AnIdleWorkerWakesEveryIdleWait) {
    for (const auto idleWait : {10ms, 1000ms}) {
        LongestSleep sleep;
        const common::TimerScheduler<int> scheduler([](unsigned long long, int&) {},
                                                    static_cast<unsigned int>(idleWait.count()));
        const auto longest = sleep.measure();
        EXPECT_LE(longest, idleWait);
        EXPECT_GT(longest, idleWait - 1ms);
    }
}

TEST(TimerScheduler, ForAnEntryTheWorkerSleepsForTheWholeMillisecondsThatAreLeftAndOneMore) {
    const struct {
        std::chrono::nanoseconds left;
        std::chrono::milliseconds sleep;
    } cases[] = {{7ms, 8ms}, {6999us, 7ms},    {5400us, 6ms}, {5ms, 6ms}, {1ms + 1ns, 2ms},
                 {1ms, 2ms}, {1ms - 1ns, 1ms}, {400us, 1ms},  {1ns, 1ms}};
    LongestSleep sleep;
    Fired fired;
    common::TimerScheduler<int, ManualClock> scheduler(fired.callback(), LONG_IDLE_MS);
    scheduler.schedule(1, 7);
    std::chrono::nanoseconds left = 7ms;
    for (const auto& it : cases) {
        ManualClock::advance(left - it.left);
        left = it.left;
        const auto longest = sleep.measure();
        EXPECT_LE(longest, it.sleep) << left.count();
        EXPECT_GT(longest, it.sleep - 1ms) << left.count();
    }
    EXPECT_THAT(fired.values(), IsEmpty());
}

TEST(TimerScheduler, SchedulingAndCancellingFromManyThreadsFiresOrCancelsEachEntryOnce) {
    constexpr int THREADS = 4;
    constexpr int PER_THREAD = 200;
    Fired fired;
    std::mutex mutex;
    std::set<unsigned long long> ids;
    std::vector<int> cancelled;
    common::TimerScheduler<int> scheduler(fired.callback(), LONG_IDLE_MS);
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&, thread] {
            for (int entry = 0; entry < PER_THREAD; ++entry) {
                const int value = thread * PER_THREAD + entry + 1;
                const auto id = scheduler.schedule(value, static_cast<unsigned long>(entry % 3));
                const int taken = entry % 2 == 0 ? scheduler.cancel(id) : 0;
                const std::lock_guard lock(mutex);
                ids.insert(id);
                if (taken != 0)
                    cancelled.push_back(taken);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    constexpr auto ALL = static_cast<std::size_t>(THREADS) * PER_THREAD;
    ASSERT_TRUE(fired.waitFor(ALL - cancelled.size()));
    scheduler.join();
    EXPECT_EQ(ids.size(), ALL);
    std::vector<int> seen = fired.values();
    seen.insert(seen.end(), cancelled.begin(), cancelled.end());
    EXPECT_EQ(seen.size(), ALL);
    EXPECT_EQ(std::set<int>(seen.begin(), seen.end()).size(), ALL);
}

} // namespace
