// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChangePosition.h"
#include "propertyapi/IPropertyApi.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace propertyapi {

/// Who wants to know of which key's changes, and how far they have been told. Changes have
/// positions that rise in commit order; the notification thread delivers them in that order. Every
/// operation may be called from every thread, the deliver operations from the notification thread
/// alone.
class Subscribers {
public:
    using Callback = IPropertyApi::Callback;
    using Id = std::uint64_t;

    Subscribers() = default;
    Subscribers(const Subscribers&) = delete;
    Subscribers& operator=(const Subscribers&) = delete;

    /// Adds a subscriber that gets the changes behind the position, at the earliest those behind
    /// what is being delivered now.
    Id add(const std::string& key, Callback callback, ChangePosition behind);
    /// Ends a subscription: afterwards its callback does not run and is not running, except when
    /// this is called by that very callback.
    void end(const std::string& key, Id id);
    /// Callbacks that begin after this do not run. Does not wait for the one that runs.
    void close();

    /// Position of the change up to which everything has been delivered.
    ChangePosition position() const;
    bool empty() const;
    /// The keys that have subscribers.
    std::vector<std::string> keys() const;
    /// Goes on to a position although nothing was delivered up to it, unless there are subscribers;
    /// true when it did.
    bool skipWhenEmpty(ChangePosition position);
    /// Delivers one change to the subscribers of its key that are to get it.
    void deliver(const Property& change, ChangePosition position);
    /// Goes on to a position although changes up to another one are lost. The keys with subscribers
    /// that would have got a lost one.
    std::vector<std::string> passOver(ChangePosition lost, ChangePosition position);
    /// Goes on to the newest change of another file than the one of the position, or to where
    /// those who have subscribed since it was opened begin. begin: the position before its first
    /// change.
    void enterFile(ChangePosition begin, ChangePosition newest);
    /// Delivers the value that a key has in place of lost changes: to the subscribers of passOver,
    /// which then get the changes behind those that are in the value already.
    void deliverCurrent(const Property& current, ChangePosition lost, ChangePosition newest);
    /// Delivers the value that a key has in another file to those who subscribed before that was
    /// opened, where it is not what they were told last; they then get the changes behind it.
    void deliverDiffering(const Property& current, ChangePosition begin, ChangePosition newest);

private:
    struct Subscriber {
        Callback callback;
        ChangePosition behind;
        std::optional<std::string> told; ///< the value of the last call
    };
    using OfKey = std::map<Id, std::shared_ptr<Subscriber>>;

    template <typename Wanted>
    void callEach(std::unique_lock<std::mutex>& lock, const Property& property, Wanted wanted);

    mutable std::mutex mutex_;
    std::condition_variable returned_;
    std::map<std::string, OfKey> subscribers_;
    ChangePosition position_;
    Id nextId_ = 1;
    Id running_ = 0; ///< whose callback runs; 0: nobody's
    std::thread::id runner_;
    bool closed_ = false;
};

} // namespace propertyapi
