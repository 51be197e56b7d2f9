// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Checkpoints.h"
#include "CommitWatch.h"
#include "LookSchedule.h"
#include "OpenStore.h"
#include "SqliteSettings.h"
#include "Subscribers.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

namespace propertyapi {

/// The notification thread: finds what anybody has committed, calls the subscribers back, and has
/// the write-ahead log kept short. It also finds out that the store was removed or replaced where
/// no operation does.
class Notifier {
public:
    /// Throws DatabaseError, and std::runtime_error for what concerns the watch.
    Notifier(OpenStore& store, std::shared_ptr<Subscribers> subscribers,
             const SqliteSettings& settings);
    ~Notifier();
    Notifier(const Notifier&) = delete;
    Notifier& operator=(const Notifier&) = delete;

    /// This process has committed something, has a further subscriber, or has opened the store
    /// again. From every thread.
    void wake() noexcept { watch_.wake(); }
    /// Ends the thread; waits for a callback that runs. Not from a callback.
    void stop();

private:
    void run();
    bool look();
    bool deliverNext();
    void watchFiles();
    CommitWatch::Cause awaitCommit();
    void restartSchedule();

    OpenStore& store_;
    const std::shared_ptr<Subscribers> subscribers_;
    const std::chrono::milliseconds quietTime_;
    CommitWatch watch_;
    Checkpoints checkpoints_;
    LookSchedule schedule_;
    std::chrono::steady_clock::time_point next_; ///< look, at the latest
    std::uint64_t file_ = 1;                     ///< whose names are watched
    bool isWatching_ = false;                    ///< the files that have the names now
    bool isFailing_ = false;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

} // namespace propertyapi
