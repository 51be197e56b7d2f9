// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace ovo {

/// Hand-shake by which a run shows that it is alive and a supervising thread waits for that sign.
/// Signals do not count: any number of them is consumed by one wait, and one given while nobody
/// waits stays pending. One waiter at a time; every operation from every thread.
class ProgressReporter {
public:
    ProgressReporter() = default;
    ProgressReporter(const ProgressReporter&) = delete;
    ProgressReporter& operator=(const ProgressReporter&) = delete;

    /// Signals progress.
    void doProgress();
    /// Blocks, without a time-out, until a signal is pending, and consumes it.
    void waitAndConsumeProgress();
    /// Drops a pending signal.
    void reset();

private:
    std::mutex mutex;
    std::condition_variable signalled;
    std::atomic<bool> progressed{false}; ///< changed with the lock
};

} // namespace ovo
