#ifndef NOTIFIER_H
#define NOTIFIER_H

#include "ChangeJournal.h"
#include "CommitWatch.h"
#include "LookSchedule.h"
#include "SqliteSettings.h"
#include "Subscribers.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

namespace propertyapi {

/// The notification thread: finds the changes that anybody has committed and calls the subscribers
/// back, and keeps the write-ahead log short. It never takes the store's write lock: a program that
/// does not wait for locks, such as the stock shell, would fail because it was told of a commit.
class Notifier {
public:
    /// Throws DatabaseError, and std::runtime_error for what concerns the watch.
    Notifier(std::unique_ptr<Database> database, std::shared_ptr<Subscribers> subscribers,
             const SqliteSettings& settings, Patience& patience);
    ~Notifier();
    Notifier(const Notifier&) = delete;
    Notifier& operator=(const Notifier&) = delete;

    /// This process has committed something. From every thread.
    void wake() noexcept { watch_.wake(); }
    /// Ends the thread; waits for a callback that runs. Not from a callback.
    void stop();

private:
    void run();
    void look(bool quiet);
    bool deliverNext();
    void deliverCurrent(const ChangeJournal::Page& page);
    bool isLogDue(bool quiet);

    const SqliteSettings settings_;
    const std::shared_ptr<Subscribers> subscribers_;
    Patience& patience_;
    ChangeJournal journal_;
    CommitWatch watch_;
    std::chrono::steady_clock::time_point shortened_{};
    bool failingToRead_ = false;
    bool failingToShorten_ = false;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

} // namespace propertyapi

#endif
