// SPDX-License-Identifier: Apache-2.0
#include "Notifier.h"

#include "logger/Logger.h"
#include "posix/FileStamp.h"

#include <exception>
#include <limits>
#include <optional>
#include <utility>

namespace propertyapi {

namespace {

using Clock = std::chrono::steady_clock;

} // namespace

template <typename Operation>
void Notifier::onJournal(Operation operation) {
    store_.run([&](OpenStore::Connections& connections, Patience::Allowance& allowance) {
        const Database::Waiting waiting(connections.journal.database(), allowance);
        operation(connections.journal, connections.number);
    });
}

Notifier::Notifier(OpenStore& store, std::shared_ptr<Subscribers> subscribers,
                   const SqliteSettings& settings)
    : settings_(settings)
    , store_(store)
    , subscribers_(std::move(subscribers))
    , watch_(store_.log()) {
    onJournal([this](ChangeJournal& journal, std::uint64_t file) {
        subscribers_->skipWhenEmpty({file, journal.newest()});
    });
    thread_ = std::thread([this] { run(); });
}

Notifier::~Notifier() {
    stop();
}

void Notifier::stop() {
    stopping_ = true;
    subscribers_->close();
    watch_.wake();
    if (thread_.joinable())
        thread_.join();
}

void Notifier::run() {
    LookSchedule schedule;
    Clock::time_point next = Clock::now();
    while (!stopping_) {
        switch (watch_.wait(next)) {
        case CommitWatch::Cause::NAMES_CHANGED:
            isWatching_ = false;
            [[fallthrough]];
        case CommitWatch::Cause::LOG_WRITTEN:
            schedule.restart();
            next = Clock::now() + schedule.next();
            look(false);
            break;
        case CommitWatch::Cause::TIME: {
            const bool quiet = schedule.quiet() >= settings_.quietTime;
            next = Clock::now() + schedule.next();
            look(quiet);
            break;
        }
        case CommitWatch::Cause::WOKEN:
            look(false);
            break;
        }
        // Somebody may have begun to commit before the files were watched.
        if (std::exchange(isOtherFile_, false)) {
            schedule.restart();
            next = Clock::now() + schedule.next();
        }
    }
}

void Notifier::look(bool quiet) {
    // A failure is not told again with each look, only once one has succeeded in between.
    try {
        if (!isWatching_)
            watchFiles();
        while (!stopping_ && deliverNext()) {
        }
        failingToRead_ = false;
    } catch (const std::exception& error) {
        // What cannot be opened is reported by who tried.
        if (store_.isOpen() && !std::exchange(failingToRead_, true)) {
            LOG(3) << "Cannot read the changes of the property store: " << error.what();
        }
        return;
    }
    if (!isLogDue(quiet))
        return;
    try {
        onJournal([](ChangeJournal& journal, std::uint64_t) { journal.database().checkpoint(); });
        failingToShorten_ = false;
    } catch (const std::exception& error) {
        if (store_.isOpen() && !std::exchange(failingToShorten_, true)) {
            LOG(3) << "Cannot move the log of the property store into it: " << error.what();
        }
    }
}

/// Watches before it looks, so that nothing that changes goes unnoticed in between.
void Notifier::watchFiles() {
    isWatching_ = watch_.follow();
    store_.check();
}

/// Delivers the next changes; false when there are none.
bool Notifier::deliverNext() {
    const ChangePosition position = subscribers_->position();
    std::uint64_t file = 0;
    std::optional<ChangeJournal::Page> page;
    onJournal([&](ChangeJournal& journal, std::uint64_t number) {
        file = number;
        if (file != position.file)
            return;
        // The number is read first: who subscribes meanwhile is to get what comes behind it.
        if (!subscribers_->empty() || !subscribers_->skipWhenEmpty({file, journal.newest()}))
            page = journal.read(position.number);
    });
    if (file != position.file) {
        deliverFromOtherFile();
        return true;
    }
    if (!page)
        return false;
    if (page->trimmed > position.number || page->newest < position.number) {
        deliverCurrent(*page, position);
        return true;
    }
    for (const ChangeJournal::Change& change : page->changes)
        subscribers_->deliver(change.property, {file, change.number});
    return !page->changes.empty();
}

/// The journal no longer holds what comes behind the position, or its numbers have begun anew. As
/// the newest number is never below the trimmed one, neither holds for the position afterwards.
void Notifier::deliverCurrent(const ChangeJournal::Page& page, ChangePosition position) {
    const std::uint64_t file = position.file;
    const bool anew = page.newest < position.number;
    const ChangePosition lost{file, anew ? std::numeric_limits<std::int64_t>::max() : page.trimmed};
    const std::vector<std::string> keys =
        subscribers_->passOver(lost, {file, anew ? page.newest : page.trimmed});
    ChangeJournal::Values current{0, {}};
    onJournal([&](ChangeJournal& journal, std::uint64_t number) {
        if (number == file)
            current = journal.values(keys);
    });
    for (const Property& property : current.properties)
        subscribers_->deliverCurrent(property, lost, {file, current.newest});
}

/// The store is another file than the one that the position is of, all of whose subscribers are
/// behind.
void Notifier::deliverFromOtherFile() {
    isOtherFile_ = true;
    watchFiles();
    const std::vector<std::string> keys = subscribers_->keys();
    ChangePosition begin;
    ChangeJournal::Values current{0, {}};
    onJournal([&](ChangeJournal& journal, std::uint64_t number) {
        begin.file = number;
        current = journal.values(keys);
    });
    const ChangePosition newest{begin.file, current.newest};
    subscribers_->enterFile(begin, newest);
    for (const Property& property : current.properties)
        subscribers_->deliverDiffering(property, begin, newest);
}

/// True when the log has grown so far that it is to be moved; takes down the time then.
bool Notifier::isLogDue(bool quiet) {
    const auto now = Clock::now();
    if (posix::FileStamp::of(posix::HostPath(store_.log())).size <
            (quiet ? settings_.walIdleLimit : settings_.walBusyLimit) ||
        now - shortened_ < settings_.quietTime)
        return false;
    shortened_ = now;
    return true;
}

} // namespace propertyapi
