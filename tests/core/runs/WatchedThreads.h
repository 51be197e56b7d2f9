// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>

/// While it lives, the waits of threads in this program and the notifications that end them are
/// told to a test, by the threads that make them: the linker leads the calls here on their way to
/// the libraries. One at a time; made before and destroyed after the threads that it watches.
class WatchedThreads {
public:
    struct TimedWait {
        clockid_t clock;
        std::chrono::nanoseconds deadline; ///< on that clock
        std::chrono::nanoseconds left;     ///< from now to the deadline
    };

    struct Hooks {
        /// A wait for a mutex that another thread holds begins.
        std::function<void()> onLock = [] {
        };
        /// A wait on a condition variable without a deadline begins, with its mutex held, which the
        /// hook must not take. True ends it at once, as one that wakes by itself.
        std::function<bool()> onWait = [] {
            return false;
        };
        /// One with a deadline begins. True ends it at once, as when the deadline has come.
        std::function<bool(const TimedWait&)> onTimedWait = [](const TimedWait&) {
            return false;
        };
        /// A waiter is notified.
        std::function<void()> onNotifyOne = [] {
        };
        /// A wait for the end of a thread begins.
        std::function<void()> onJoin = [] {
        };
    };

    explicit WatchedThreads(Hooks toldTo);
    ~WatchedThreads();
    WatchedThreads(const WatchedThreads&) = delete;
    WatchedThreads& operator=(const WatchedThreads&) = delete;

    /// How many mutexes the calling thread has locked.
    static unsigned int heldMutexes();

private:
    const Hooks hooks;
};
