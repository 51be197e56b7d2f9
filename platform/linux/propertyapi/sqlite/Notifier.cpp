#include "Notifier.h"

#include "logger/Logger.h"

#include <limits>
#include <utility>

namespace propertyapi {

namespace {

using Clock = std::chrono::steady_clock;

} // namespace

Notifier::Notifier(std::unique_ptr<Database> database, std::shared_ptr<Subscribers> subscribers,
                   const SqliteSettings& settings)
    : settings_(settings)
    , subscribers_(std::move(subscribers))
    , journal_(std::move(database))
    , watch_(journal_.database().walPath()) {
    subscribers_->skipWhenEmpty(journal_.newest());
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
    try {
        while (!stopping_ && deliverNext()) {
        }
        shortenLog(quiet);
        failing_ = false;
    } catch (const DatabaseError& error) {
        if (!std::exchange(failing_, true)) { // not again with each look until one succeeds
            LOG(3) << "Cannot read the changes of the property store: " << error.what();
        }
    }
}

/// Delivers the next changes; false when there are none.
bool Notifier::deliverNext() {
    const std::int64_t position = subscribers_->position();
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

/// The journal no longer holds what comes behind the position, or has been emptied by somebody.
void Notifier::deliverCurrent(const ChangeJournal::Page& page) {
    const bool emptied = page.newest < page.trimmed || page.newest < subscribers_->position();
    const std::int64_t lost = emptied ? std::numeric_limits<std::int64_t>::max() : page.trimmed;
    const std::int64_t number = emptied ? page.newest : page.trimmed;
    const std::vector<std::string> keys = subscribers_->passOver(lost, number);
    const ChangeJournal::Values current = journal_.values(keys);
    for (const Property& property : current.properties)
        subscribers_->deliverCurrent(property, lost, current.newest);
}

void Notifier::shortenLog(bool quiet) {
    const std::int64_t size = journal_.database().walSize();
    const auto now = Clock::now();
    if (size < (quiet ? settings_.walIdleLimit : settings_.walBusyLimit) ||
        now - shortened_ < settings_.quietTime)
        return;
    shortened_ = now;
    journal_.database().checkpoint();
}

} // namespace propertyapi
