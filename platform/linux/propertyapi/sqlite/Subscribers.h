// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChangeJournal.h"
#include "ChangePosition.h"
#include "common/Guarded.h"
#include "propertyapi/IPropertyApi.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>

namespace propertyapi {

/// Who wants to know of which key's changes, and how far each has been told. A write in the
/// journal is a change for a subscriber when its value differs from the one that the subscriber
/// knows: of the call before, or of the moment of the subscription.
///
/// Every operation may be called from every thread; the notification thread alone asks what to read
/// and delivers.
class Subscribers {
public:
    using Callback = IPropertyApi::Callback;
    using Id = std::uint64_t;

    /// What the notification thread is to read.
    struct Task {
        enum class Kind { NOTHING, CHANGES, VALUES };

        Kind kind = Kind::NOTHING;
        std::int64_t after = 0; ///< the changes with higher numbers
        ChangeJournal::Keys keys = {};
    };
    /// The subscribers that a task is for, and what the journal held for it. Subscribers that came
    /// after the journal was looked at may know more than is in it.
    struct Round {
        Id end;
        std::uint64_t file;
        ChangeJournal::Span span;
        /// More changes than the journal keeps that this client itself made at once: nobody could
        /// have followed.
        ChangeSpan ownOverflow = {};
    };

    Subscribers() = default;
    Subscribers(const Subscribers&) = delete;
    Subscribers& operator=(const Subscribers&) = delete;

    /// Adds a subscriber that gets the changes after the position, at which its key had the value.
    Id add(const std::string& key, Callback callback, ChangePosition position, std::string value);
    /// Ends a subscription: afterwards its callback does not run and is not running, except when
    /// this is called by that very callback.
    void end(const std::string& key, Id id);
    /// Callbacks that begin after this do not run. Does not wait for the one that runs.
    void stop();

    /// The end of a round that begins now, before the journal is looked at.
    Id roundEnd() const;
    /// What to read: current values where subscribers missed changes, otherwise changes.
    Task task(const Round& round) const;
    /// Delivers a row of the journal to the subscribers of its key for which it is a change.
    void deliver(const ChangeJournal::Change& change, const Round& round);
    /// Delivers the value that a key has to its subscribers that missed changes; where it is of
    /// another file, to those that were not told that value last, and where all that they missed
    /// are changes that this client made at once, to those that know another value.
    void deliverCurrent(const Property& current, const Round& round);
    /// Everything up to that number has been delivered.
    void advance(std::int64_t number, const Round& round);

private:
    struct Subscriber {
        Callback callback;
        ChangePosition position;
        std::string value;
        bool isTold = false; ///< has been called with the value

        bool missedChanges(const Round& round) const;
        bool missedOwnAlone(const Round& round) const;
    };
    using OfKey = std::map<Id, std::shared_ptr<Subscriber>>;

    struct State {
        std::map<std::string, OfKey> ofKeys;
        Id next = 1;
        Id running = 0; ///< whose callback runs; 0: nobody's
        std::thread::id runner;
        bool isStopped = false;
    };

    template <typename Wanted>
    void callEach(const Property& property, const Round& round, Wanted wanted);

    common::Guarded<State> state_;
    std::condition_variable returned_;
};

} // namespace propertyapi
