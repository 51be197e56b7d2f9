// SPDX-License-Identifier: Apache-2.0
#include "Subscribers.h"

#include "logger/Logger.h"
#include "text/Quote.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace propertyapi {

namespace {

void callBack(const IPropertyApi::Callback& callback, const Property& property) {
    try {
        callback(property);
    } catch (const std::exception& error) {
        LOG(3) << "Callback for property " << quote(property.key) << " failed: " << error.what();
    } catch (...) {
        LOG(3) << "Callback for property " << quote(property.key) << " failed";
    }
}

} // namespace

/// Numbers above the newest one mean that they have begun anew.
bool Subscribers::Subscriber::missedChanges(const Round& round) const {
    return position.file != round.file || position.number < round.span.lost ||
           position.number > round.span.newest;
}

/// Of those that missed changes of the file that is open; numbers that have begun anew are others'.
bool Subscribers::Subscriber::missedOwnAlone(const Round& round) const {
    const ChangeSpan& own = round.ownOverflow;
    return position.number >= own.lost && round.span.lost <= own.newest &&
           position.number <= round.span.newest;
}

Subscribers::Id Subscribers::add(const std::string& key, Callback callback, ChangePosition position,
                                 std::string value) {
    auto subscriber =
        std::make_shared<Subscriber>(Subscriber{std::move(callback), position, std::move(value)});
    const auto state = state_.lock();
    state->ofKeys[key].emplace(state->next, std::move(subscriber));
    return state->next++;
}

void Subscribers::end(const std::string& key, Id id) {
    std::shared_ptr<Subscriber> ended; // outlives the lock: what its callback holds may call us
    auto state = state_.lock();
    if (const auto found = state->ofKeys.find(key); found != state->ofKeys.end()) {
        if (const auto subscriber = found->second.find(id); subscriber != found->second.end()) {
            ended = std::move(subscriber->second);
            found->second.erase(subscriber);
        }
        if (found->second.empty())
            state->ofKeys.erase(found);
    }
    state.wait(returned_, [id](const State& current) {
        return current.running != id || current.runner == std::this_thread::get_id();
    });
}

void Subscribers::stop() {
    state_.lock()->isStopped = true;
}

Subscribers::Id Subscribers::roundEnd() const {
    return state_.lock()->next;
}

Subscribers::Task Subscribers::task(const Round& round) const {
    Task changes{Task::Kind::NOTHING, round.span.newest};
    Task values{Task::Kind::VALUES};
    const auto state = state_.lock();
    for (const auto& [key, subscribers] : state->ofKeys)
        for (const auto& [id, subscriber] : subscribers) {
            if (id >= round.end)
                break;
            changes.keys.insert(key);
            if (subscriber->missedChanges(round))
                values.keys.insert(key);
            else
                changes.after = std::min(changes.after, subscriber->position.number);
        }
    if (!values.keys.empty())
        return values;
    if (changes.after < round.span.newest)
        changes.kind = Task::Kind::CHANGES;
    return changes;
}

void Subscribers::deliver(const ChangeJournal::Change& change, const Round& round) {
    callEach(change.property, round, [&](Subscriber& subscriber) {
        if (subscriber.position.number >= change.number)
            return false;
        subscriber.position.number = change.number;
        return subscriber.value != change.property.value;
    });
}

void Subscribers::deliverCurrent(const Property& current, const Round& round) {
    callEach(current, round, [&](Subscriber& subscriber) {
        if (!subscriber.missedChanges(round))
            return false;
        const bool isOtherFile = subscriber.position.file != round.file;
        const bool mayKnow = isOtherFile ? subscriber.isTold : subscriber.missedOwnAlone(round);
        subscriber.position = {round.file, round.span.newest};
        return !(mayKnow && subscriber.value == current.value);
    });
}

void Subscribers::advance(std::int64_t number, const Round& round) {
    const auto state = state_.lock();
    for (const auto& [key, subscribers] : state->ofKeys)
        for (const auto& [id, subscriber] : subscribers)
            if (id < round.end)
                subscriber->position.number = std::max(subscriber->position.number, number);
}

/// Calls each wanted subscriber of the key, in the order in which they came, without the lock: who
/// comes and goes meanwhile is found, or found missing, by the number.
template <typename Wanted>
void Subscribers::callEach(const Property& property, const Round& round, Wanted wanted) {
    for (Id last = 0;;) {
        std::shared_ptr<Subscriber> subscriber;
        std::string value = property.value; // first: it may throw
        {
            const auto state = state_.lock();
            const auto ofKey = state->ofKeys.find(property.key);
            if (state->isStopped || ofKey == state->ofKeys.end())
                return;
            const auto next = ofKey->second.upper_bound(last);
            if (next == ofKey->second.end() || next->first >= round.end)
                return;
            last = next->first;
            if (!wanted(*next->second))
                continue;
            subscriber = next->second;
            subscriber->value = std::move(value);
            subscriber->isTold = true;
            state->running = last;
            state->runner = std::this_thread::get_id();
        }
        callBack(subscriber->callback, property);
        subscriber.reset();
        state_.lock()->running = 0;
        returned_.notify_all();
    }
}

} // namespace propertyapi
