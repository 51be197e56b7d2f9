#ifndef SUBSCRIBERS_H
#define SUBSCRIBERS_H

#include "propertyapi/IPropertyApi.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace propertyapi {

/// Who wants to know of which key's changes, and how far they have been told. Changes have numbers
/// that rise in commit order; the notification thread delivers them in that order. Every operation
/// may be called from every thread, the deliver operations from the notification thread alone.
class Subscribers {
public:
    using Callback = IPropertyApi::Callback;
    using Id = std::uint64_t;

    Subscribers() = default;
    Subscribers(const Subscribers&) = delete;
    Subscribers& operator=(const Subscribers&) = delete;

    /// Adds a subscriber that gets the changes behind the number, at the earliest those behind what
    /// is being delivered now.
    Id add(const std::string& key, Callback callback, std::int64_t behind);
    /// Ends a subscription: afterwards its callback does not run and is not running, except when
    /// this is called by that very callback.
    void end(const std::string& key, Id id);
    /// Callbacks that begin after this do not run. Does not wait for the one that runs.
    void close();

    /// Number of the change up to which everything has been delivered.
    std::int64_t position() const;
    bool empty() const;
    /// Goes on to a number although nothing was delivered up to it, unless there are subscribers;
    /// true when it did.
    bool skipWhenEmpty(std::int64_t number);
    /// Delivers one change to the subscribers of its key that are to get it.
    void deliver(const Property& change, std::int64_t number);
    /// Goes on to a number although changes up to another one are lost. The keys with subscribers
    /// that would have got a lost one.
    std::vector<std::string> passOver(std::int64_t lost, std::int64_t number);
    /// Delivers the value that a key has in place of lost changes: to the subscribers of passOver,
    /// which then get the changes behind those that are in the value already.
    void deliverCurrent(const Property& current, std::int64_t lost, std::int64_t newest);

private:
    struct Subscriber {
        Callback callback;
        std::int64_t behind;
    };
    using OfKey = std::map<Id, std::shared_ptr<Subscriber>>;

    template <typename Wanted>
    void callEach(std::unique_lock<std::mutex>& lock, const Property& property, Wanted wanted);

    mutable std::mutex mutex_;
    std::condition_variable returned_;
    std::map<std::string, OfKey> subscribers_;
    std::int64_t position_ = 0;
    Id nextId_ = 1;
    Id running_ = 0; ///< whose callback runs; 0: nobody's
    std::thread::id runner_;
    bool closed_ = false;
};

} // namespace propertyapi

#endif
