// SPDX-License-Identifier: Apache-2.0
#include "Notifier.h"

#include "logger/Logger.h"

#include <pthread.h>
#include <sched.h>

#include <exception>
#include <utility>
#include <vector>

namespace propertyapi {

namespace {

using Clock = std::chrono::steady_clock;
using Task = Subscribers::Task;

/// How long what is written to the log is passed over while this process writes: somebody else may
/// have committed right before.
constexpr std::chrono::milliseconds OWN_WRITE{50};

} // namespace

Notifier::Notifier(OpenStore& store, std::shared_ptr<Subscribers> subscribers,
                   const SqliteSettings& settings)
    : store_(store)
    , subscribers_(std::move(subscribers))
    , quietTime_(settings.quietTime)
    , watch_(store_.log())
    , checkpoints_(store_, settings)
    , next_(Clock::now())
    , thread_([this] { run(); }) {}

Notifier::~Notifier() {
    stop();
}

void Notifier::stop() {
    stopping_ = true;
    subscribers_->stop();
    watch_.wake();
    if (thread_.joinable())
        thread_.join();
}

void Notifier::run() {
    ::pthread_setname_np(::pthread_self(), "notification");
    // Woken, it does not take the processor from who has just written; nor do threads that a
    // callback starts, which inherit that. Another policy was chosen for the whole process.
    constexpr sched_param NORMAL{};
    if (::sched_getscheduler(0) == SCHED_OTHER)
        ::pthread_setschedparam(::pthread_self(), SCHED_BATCH, &NORMAL);
    while (!stopping_) {
        bool isQuiet = false;
        switch (awaitCommit()) {
        case CommitWatch::Cause::NAMES_CHANGED:
            isWatching_ = false;
            [[fallthrough]];
        case CommitWatch::Cause::LOG_WRITTEN:
            restartSchedule();
            break;
        case CommitWatch::Cause::TIME:
            isQuiet = schedule_.quiet() >= quietTime_;
            next_ = Clock::now() + schedule_.next();
            break;
        case CommitWatch::Cause::WOKEN:
            break;
        }
        if (look())
            checkpoints_.look(isQuiet);
    }
}

/// Each page that this process writes would wake the thread, which on one processor takes the place
/// of the writer. Nobody else can commit meanwhile, and the writer says when it is done.
CommitWatch::Cause Notifier::awaitCommit() {
    CommitWatch::Cause cause = watch_.wait(next_);
    while (cause == CommitWatch::Cause::LOG_WRITTEN && !stopping_ && store_.isWriting()) {
        cause = watch_.waitForWake(Clock::now() + OWN_WRITE);
        // It still lasts, or the next one has begun.
        if (store_.isWriting())
            look();
    }
    return cause;
}

void Notifier::restartSchedule() {
    schedule_.restart();
    next_ = Clock::now() + schedule_.next();
}

/// Delivers what there is; false when that failed. A failure is not logged again with each look,
/// only once one has succeeded in between.
bool Notifier::look() {
    try {
        if (!isWatching_)
            watchFiles();
        while (!stopping_ && deliverNext()) {
            schedule_.found();
            if (!isWatching_)
                watchFiles();
        }
        isFailing_ = false;
        return true;
    } catch (const std::exception& error) {
        // A store that cannot be opened is reported by the thread that tried to.
        if (store_.isOpen() && !std::exchange(isFailing_, true))
            LOG(3) << "Cannot read the changes of the property store: " << error.what();
        return false;
    }
}

/// Watches before it looks, so that nothing that changes goes unnoticed in between.
void Notifier::watchFiles() {
    isWatching_ = watch_.follow();
    store_.check();
}

/// Delivers the next changes, or current values to those who missed changes; false when there is
/// nothing to deliver.
bool Notifier::deliverNext() {
    Subscribers::Round round{subscribers_->roundEnd(), 0, {}, {}};
    Task task;
    ChangeJournal::Page page{};
    std::vector<Property> values;
    store_.runOnJournal([&](ChangeJournal& journal, std::uint64_t file, const StoreWriter& writer) {
        values.clear();
        journal.inSnapshot([&] {
            round.file = file;
            round.span = journal.span();
            round.ownOverflow = writer.overflow();
            task = subscribers_->task(round);
            if (task.kind == Task::Kind::CHANGES)
                page = journal.read(task.after, task.keys);
            if (task.kind == Task::Kind::VALUES)
                for (const std::string& key : task.keys)
                    values.push_back({key, journal.value(key)});
        });
    });
    if (std::exchange(file_, round.file) != round.file) {
        // Somebody may have begun to commit before the files were watched: read once they are.
        isWatching_ = false;
        restartSchedule();
        return true;
    }
    for (const Property& value : values)
        subscribers_->deliverCurrent(value, round);
    for (const ChangeJournal::Change& change : page.changes)
        subscribers_->deliver(change, round);
    if (task.kind == Task::Kind::CHANGES)
        subscribers_->advance(page.end, round);
    return task.kind != Task::Kind::NOTHING;
}

} // namespace propertyapi
