#include "Notifier.h"

#include "logger/Logger.h"

#include <exception>
#include <limits>
#include <utility>

namespace propertyapi {

namespace {

using Clock = std::chrono::steady_clock;

} // namespace

Notifier::Notifier(std::unique_ptr<Database> database, std::shared_ptr<Subscribers> subscribers,
                   const SqliteSettings& settings, Patience& patience)
    : settings_(settings)
    , subscribers_(std::move(subscribers))
    , patience_(patience)
    , journal_(std::move(database))
    , watch_(journal_.database().walPath()) {
    subscribers_->skipWhenEmpty(journal_.newest());
    journal_.database().waitBy(nullptr);
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
    }
}

void Notifier::look(bool quiet) {
    // A failure is not told again with each look, only once one has succeeded in between.
    try {
        while (!stopping_ && deliverNext()) {
        }
        failingToRead_ = false;
    } catch (const std::exception& error) {
        if (!std::exchange(failingToRead_, true)) {
            LOG(3) << "Cannot read the changes of the property store: " << error.what();
        }
        return;
    }
    if (!isLogDue(quiet))
        return;
    try {
        journal_.database().checkpoint();
        failingToShorten_ = false;
    } catch (const std::exception& error) {
        if (!std::exchange(failingToShorten_, true)) {
            LOG(3) << "Cannot move the log of the property store into it: " << error.what();
        }
    }
}

/// Delivers the next changes; false when there are none.
bool Notifier::deliverNext() {
    const std::int64_t position = subscribers_->position();
    Patience::Allowance allowance(patience_, settings_.busyTimeout);
    const Database::Waiting waiting(journal_.database(), allowance);
    // The number is read first: who subscribes meanwhile is to get what comes behind it.
    if (subscribers_->empty() && subscribers_->skipWhenEmpty(journal_.newest()))
        return false;
    const ChangeJournal::Page page = journal_.read(position);
    if (page.trimmed > position || page.newest < position) {
        deliverCurrent(page);
        return true;
    }
    for (const ChangeJournal::Change& change : page.changes)
        subscribers_->deliver(change.property, change.number);
    return !page.changes.empty();
}

/// The journal no longer holds what comes behind the position, or its numbers have begun anew. As
/// the newest number is never below the trimmed one, neither holds for the position afterwards.
void Notifier::deliverCurrent(const ChangeJournal::Page& page) {
    const bool anew = page.newest < subscribers_->position();
    const std::int64_t lost = anew ? std::numeric_limits<std::int64_t>::max() : page.trimmed;
    const std::int64_t number = anew ? page.newest : page.trimmed;
    const std::vector<std::string> keys = subscribers_->passOver(lost, number);
    const ChangeJournal::Values current = journal_.values(keys);
    for (const Property& property : current.properties)
        subscribers_->deliverCurrent(property, lost, current.newest);
}

/// True when the log has grown so far that it is to be moved; takes down the time then.
bool Notifier::isLogDue(bool quiet) {
    const std::int64_t size = journal_.database().walSize();
    const auto now = Clock::now();
    if (size < (quiet ? settings_.walIdleLimit : settings_.walBusyLimit) ||
        now - shortened_ < settings_.quietTime)
        return false;
    shortened_ = now;
    return true;
}

} // namespace propertyapi
