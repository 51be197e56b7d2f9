// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IMessageThreadStrategy.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

/// The message thread, played by the test: posted tasks wait until the test runs them on its own
/// thread. Posting: any thread.
class FakeMessageThread : public ipc::IMessageThreadStrategy {
public:
    void post(std::function<void()> task) override;

    /// Runs the oldest task; false when none waits. What it throws is logged at level 3.
    bool runOne();
    /// Runs tasks, those that they post included, until none waits; how many.
    std::size_t runAll();
    /// Waits until at least so many tasks wait to be run.
    bool waitForTasks(std::size_t count = 1) const;
    std::size_t waiting() const;
    /// Drops what waits and what is posted from now on.
    void stop();

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable posted_;
    std::deque<std::function<void()>> tasks_;
    bool isStopped_ = false;
};
