// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>

namespace common {

/// One-shot timers: delivers values of type T after delays in milliseconds, one at a time, on a
/// worker thread of its own, in order of due time and, for equal due times, of scheduling. The
/// steady clock is used, so changes of the wall clock move nothing.
///
/// Every operation may be called from every thread, from the callback too, which runs without the
/// lock; join() and the destructor from one thread at a time and not from the callback. Values are
/// destroyed without the lock. T() is the zero value.
///
/// Clock: decides when an entry is due; the worker sleeps by the steady clock in any case.
template <typename T, typename Clock = std::chrono::steady_clock>
class TimerScheduler {
public:
    using Callback = std::function<void(unsigned long long id, T& value)>;

    /// Starts the worker. idleWaitMs: how often it wakes while nothing is scheduled.
    TimerScheduler(const Callback& onDue, unsigned int idleWaitMs)
        : callback(onDue), idleWait(idleWaitMs), worker([this] { loop(); }) {}
    ~TimerScheduler() { join(); }
    TimerScheduler(const TimerScheduler&) = delete;
    TimerScheduler& operator=(const TimerScheduler&) = delete;

    /// Id of the new timer; ids begin with 1 and are never used again. After abort() nothing fires.
    /// A delay beyond a hundred years is a hundred years.
    unsigned long long schedule(const T& value, unsigned long delayMs) {
        const std::lock_guard lock(mutex);
        const auto due = Clock::now() + std::chrono::milliseconds(
                                            std::min<unsigned long long>(delayMs, LONGEST_MS));
        const unsigned long long id = getNewId();
        insertEntry(Entry(id, value, due));
        changed.notify_one();
        return id;
    }

    /// Cancels a timer and returns its value; T() when it has fired or never existed.
    T cancel(unsigned long long id) {
        std::list<Entry> cancelled;
        {
            const std::lock_guard lock(mutex);
            const auto entry = std::find_if(entries.begin(), entries.end(),
                                            [id](const Entry& other) { return other.id == id; });
            if (entry != entries.end())
                cancelled.splice(cancelled.end(), entries, entry);
        }
        return cancelled.empty() ? T() : cancelled.front().value;
    }

    /// Drops all timers and stops the worker, for good.
    void abort() {
        std::list<Entry> dropped;
        const std::lock_guard lock(mutex);
        dropped.swap(entries);
        aborted = true;
        changed.notify_one();
    }

    /// Waits for the worker's end, after abort().
    void join() {
        if (!aborted)
            abort();
        if (!worker.joinable())
            return;
        try {
            worker.join();
        } catch (const std::system_error&) {
            // The thread has ended.
        }
    }

private:
    using TimePoint = typename Clock::time_point;

    static constexpr unsigned long long LONGEST_MS = 100ULL * 366 * 86400 * 1000;

    struct Entry {
        Entry(const unsigned long long& entryId, const T& entryValue, TimePoint entryDue)
            : id(entryId), due(entryDue), value(entryValue) {}

        unsigned long long id;
        TimePoint due;
        T value;
    };

    void loop() {
        while (!aborted) {
            std::unique_lock lock(mutex);
            auto now = Clock::now();
            while (shouldWaitForTimer(now)) {
                changed.wait_for(lock, calculateTimeout(now));
                now = Clock::now();
            }
            while (shouldBeProcessed(now)) {
                std::list<Entry> due;
                due.splice(due.end(), entries, entries.begin());
                lock.unlock();
                callback(due.front().id, due.front().value);
                due.clear();
                lock.lock();
            }
        }
    }

    unsigned long long getNewId() { return ++lastId; }

    void insertEntry(const Entry& entry) {
        const auto later = std::find_if(entries.begin(), entries.end(),
                                        [&](const Entry& other) { return other.due > entry.due; });
        entries.insert(later, entry);
    }

    bool shouldWaitForTimer(TimePoint now) const {
        return !aborted && (entries.empty() || entries.front().due > now);
    }

    std::chrono::milliseconds calculateTimeout(TimePoint now) const {
        if (entries.empty())
            return idleWait;
        if (entries.front().due <= now)
            return std::chrono::milliseconds(0);
        // One more than the whole milliseconds left, so that the worker never wakes a fraction
        // early.
        return std::chrono::duration_cast<std::chrono::milliseconds>(entries.front().due - now) +
               std::chrono::milliseconds(1);
    }

    bool shouldBeProcessed(TimePoint now) const {
        return !aborted && !entries.empty() && entries.front().due <= now;
    }

    [[maybe_unused]] std::atomic_flag reserved = ATOMIC_FLAG_INIT; ///< no operation uses it
    Callback callback;
    std::chrono::milliseconds idleWait;
    std::mutex mutex;         ///< guards entries and lastId, and the writing of aborted
    std::list<Entry> entries; ///< in order of due time
    std::condition_variable changed;
    std::atomic<bool> aborted{false};
    unsigned long long lastId = 0;
    std::thread worker; ///< last: it uses all the others
};

} // namespace common
