// SPDX-License-Identifier: Apache-2.0
#include "ChangeRecorder.h"

#include <atomic>

using propertyapi::Property;

propertyapi::IPropertyApi::Callback ChangeRecorder::callback() {
    return [this](const Property& change) {
        const std::lock_guard lock(mutex_);
        changes_.push_back(change);
        changed_.notify_all();
    };
}

std::vector<Property> ChangeRecorder::changes() const {
    const std::lock_guard lock(mutex_);
    return changes_;
}

std::vector<std::string> ChangeRecorder::values() const {
    std::vector<std::string> result;
    for (const Property& change : changes())
        result.push_back(change.value);
    return result;
}

bool ChangeRecorder::waitFor(std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return changes_.size() >= count; });
}

bool ChangeRecorder::waitForValue(const std::string& value,
                                  std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    std::size_t seen = 0;
    return changed_.wait_for(lock, timeout, [&] {
        for (; seen < changes_.size(); ++seen)
            if (changes_[seen].value == value)
                return true;
        return false;
    });
}

bool waitForDelivery(const propertyapi::IPropertyApi& api) {
    static std::atomic<unsigned int> count = 0;
    const std::string key = "Test.Delivery." + std::to_string(++count);
    ChangeRecorder last;
    const auto subscription = api.subscribeScoped(key, last.callback());
    api.setValue(key, "delivered");
    return last.waitFor(1);
}
