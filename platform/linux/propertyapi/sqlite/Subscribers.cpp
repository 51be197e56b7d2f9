// SPDX-License-Identifier: Apache-2.0
#include "Subscribers.h"

#include "logger/Logger.h"
#include "text/Quote.h"

#include <algorithm>
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

Subscribers::Id Subscribers::add(const std::string& key, Callback callback, ChangePosition behind) {
    auto subscriber = std::make_shared<Subscriber>(Subscriber{std::move(callback), behind, {}});
    const std::lock_guard lock(mutex_);
    subscriber->behind = std::max(behind, position_);
    subscribers_[key].emplace(nextId_, std::move(subscriber));
    return nextId_++;
}

void Subscribers::end(const std::string& key, Id id) {
    std::shared_ptr<Subscriber> ended; // outlives the lock, as what its callback holds may call us
    std::unique_lock lock(mutex_);
    if (const auto found = subscribers_.find(key); found != subscribers_.end()) {
        if (const auto subscriber = found->second.find(id); subscriber != found->second.end()) {
            ended = std::move(subscriber->second);
            found->second.erase(subscriber);
        }
        if (found->second.empty())
            subscribers_.erase(found);
    }
    returned_.wait(lock, [&] { return running_ != id || runner_ == std::this_thread::get_id(); });
    lock.unlock();
}

void Subscribers::close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
}

ChangePosition Subscribers::position() const {
    const std::lock_guard lock(mutex_);
    return position_;
}

bool Subscribers::empty() const {
    const std::lock_guard lock(mutex_);
    return subscribers_.empty();
}

std::vector<std::string> Subscribers::keys() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> keys;
    for (const auto& [key, subscribers] : subscribers_)
        keys.push_back(key);
    return keys;
}

bool Subscribers::skipWhenEmpty(ChangePosition position) {
    const std::lock_guard lock(mutex_);
    if (subscribers_.empty())
        position_ = position;
    return subscribers_.empty();
}

void Subscribers::deliver(const Property& change, ChangePosition position) {
    std::unique_lock lock(mutex_);
    // Before the callbacks: who subscribes from now on does not get this change.
    position_ = position;
    callEach(lock, change,
             [position](Subscriber& subscriber) { return subscriber.behind < position; });
}

std::vector<std::string> Subscribers::passOver(ChangePosition lost, ChangePosition position) {
    const std::lock_guard lock(mutex_);
    position_ = position;
    std::vector<std::string> keys;
    for (const auto& [key, subscribers] : subscribers_)
        if (std::any_of(subscribers.begin(), subscribers.end(),
                        [lost](const auto& entry) { return entry.second->behind < lost; }))
            keys.push_back(key);
    return keys;
}

void Subscribers::deliverCurrent(const Property& current, ChangePosition lost,
                                 ChangePosition newest) {
    std::unique_lock lock(mutex_);
    callEach(lock, current, [lost, newest](Subscriber& subscriber) {
        if (!(subscriber.behind < lost))
            return false;
        subscriber.behind = newest;
        return true;
    });
}

void Subscribers::enterFile(ChangePosition begin, ChangePosition newest) {
    const std::lock_guard lock(mutex_);
    position_ = newest;
    for (const auto& [key, subscribers] : subscribers_)
        for (const auto& [id, subscriber] : subscribers)
            if (!(subscriber->behind < begin))
                position_ = std::min(position_, subscriber->behind);
}

void Subscribers::deliverDiffering(const Property& current, ChangePosition begin,
                                   ChangePosition newest) {
    std::unique_lock lock(mutex_);
    callEach(lock, current, [&](Subscriber& subscriber) {
        if (!(subscriber.behind < begin))
            return false;
        subscriber.behind = newest;
        return subscriber.told != current.value;
    });
}

/// Calls each wanted subscriber of the key, in the order in which they came, without the lock: who
/// comes and goes meanwhile is found, or found missing, by the number.
template <typename Wanted>
void Subscribers::callEach(std::unique_lock<std::mutex>& lock, const Property& property,
                           Wanted wanted) {
    for (Id last = 0; !closed_;) {
        const auto ofKey = subscribers_.find(property.key);
        if (ofKey == subscribers_.end())
            return;
        const auto next = ofKey->second.upper_bound(last);
        if (next == ofKey->second.end())
            return;
        last = next->first;
        if (!wanted(*next->second))
            continue;
        std::shared_ptr<Subscriber> subscriber = next->second;
        subscriber->told = property.value;
        running_ = last;
        runner_ = std::this_thread::get_id();
        lock.unlock();
        callBack(subscriber->callback, property);
        subscriber.reset();
        lock.lock();
        running_ = 0;
        returned_.notify_all();
    }
}

} // namespace propertyapi
