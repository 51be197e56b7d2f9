// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

namespace propertyapi {

/// How long operations of the property store wait for it: for other programs that have it locked,
/// and for each other. Normally each operation has a time of its own; once a limit is set, all
/// waits of all threads together get no more than that.
///
/// For both kinds of waits it is the one monitor: what threads wait for each other for is guarded
/// by its mutex, so that a limit ends every wait in time. The mutex is held for moments only.
///
/// Every operation may be called from every thread.
class Patience {
    using Attempt = std::function<bool()>;

public:
    using Clock = std::chrono::steady_clock;

    Patience() = default;
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;

    /// From now on all waits of all threads together, those in progress included, get no more than
    /// that; what counts is the time that each has actually waited. A later limit can only make it
    /// less.
    void limit(std::chrono::milliseconds total);
    /// True from the first limit on.
    bool isLimited();
    /// Changes something with the mutex locked. change: returns true when others may have waited
    /// for that.
    template <typename Change>
    void change(Change change) {
        const std::lock_guard lock(mutex_);
        if (change() && waiting_ > 0)
            changed_.notify_all();
    }

    /// What one operation may wait. Used by one thread at a time.
    class Allowance {
    public:
        Allowance(Patience& patience, std::chrono::milliseconds time)
            : patience_(patience), left_(time) {}
        Allowance(const Allowance&) = delete;
        Allowance& operator=(const Allowance&) = delete;

        /// Waits until an attempt to do something is successful; false when there is no time left.
        /// It is made at once, and again when anything has changed, with the mutex locked.
        template <typename Try>
        bool wait(const Try& attempt) {
            return waitFor(std::cref(attempt));
        }
        /// Waits for that time, or for what is left of it; false when nothing is left, or when
        /// there is no point in waiting any longer.
        bool pause(std::chrono::milliseconds time);
        /// A flag that says, guarded by the patience's mutex, that there is no point in waiting
        /// any longer; nullptr: none.
        void endBy(const bool* flag) { pointless_ = flag; }
        bool hasWaited() const { return hasWaited_; }

    private:
        bool waitFor(const Attempt& attempt);

        Patience& patience_;
        Clock::duration left_;
        bool hasWaited_ = false;
        const bool* pointless_ = nullptr;
    };

private:
    bool wait(Clock::duration& left, const Attempt& attempt);
    void charge(Clock::time_point now);

    std::mutex mutex_;
    std::condition_variable changed_;
    int waiting_ = 0;
    std::optional<Clock::duration> left_; ///< of the limit; none: no limit
    Clock::time_point charged_;           ///< up to when waiting was taken off it
};

} // namespace propertyapi
