// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChangeJournal.h"
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

/// The notification thread: finds the changes that anybody has committed and calls the subscribers
/// back, and keeps the write-ahead log short. For that it never takes the store's write lock: a
/// program that does not wait for locks, such as the stock shell, would fail because it was told of
/// a commit. It also finds out that the store was removed or replaced where no operation does;
/// subscribers are then given current values.
class Notifier {
public:
    /// Throws DatabaseError, and std::runtime_error for what concerns the watch.
    Notifier(OpenStore& store, std::shared_ptr<Subscribers> subscribers,
             const SqliteSettings& settings);
    ~Notifier();
    Notifier(const Notifier&) = delete;
    Notifier& operator=(const Notifier&) = delete;

    /// This process has committed something, or has opened the store again. From every thread.
    void wake() noexcept { watch_.wake(); }
    /// Ends the thread; waits for a callback that runs. Not from a callback.
    void stop();

private:
    /// Runs an operation, a callable with ChangeJournal& and the number of its file.
    template <typename Operation>
    void onJournal(Operation operation);

    void run();
    void look(bool quiet);
    bool deliverNext();
    void deliverCurrent(const ChangeJournal::Page& page, ChangePosition position);
    void deliverFromOtherFile();
    void watchFiles();
    bool isLogDue(bool quiet);

    const SqliteSettings settings_;
    OpenStore& store_;
    const std::shared_ptr<Subscribers> subscribers_;
    CommitWatch watch_;
    bool isWatching_ = false;  ///< the files that have the names now
    bool isOtherFile_ = false; ///< than the last time
    std::chrono::steady_clock::time_point shortened_{};
    bool failingToRead_ = false;
    bool failingToShorten_ = false;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

} // namespace propertyapi
