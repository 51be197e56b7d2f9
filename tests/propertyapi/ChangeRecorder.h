// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/IPropertyApi.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace propertyapi {

inline bool operator==(const Property& left, const Property& right) {
    return left.key == right.key && left.value == right.value;
}

inline std::ostream& operator<<(std::ostream& stream, const Property& property) {
    return stream << property.key << "=" << property.value.substr(0, 100);
}

} // namespace propertyapi

/// Keeps the changes that it is called back with.
class ChangeRecorder {
public:
    /// To subscribe with; the recorder must live as long as the subscription.
    propertyapi::IPropertyApi::Callback callback();

    std::vector<propertyapi::Property> changes() const;
    std::vector<std::string> values() const;
    /// Waits for that many changes.
    bool waitFor(std::size_t count,
                 std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
    /// Waits for a change to that value.
    bool waitForValue(const std::string& value,
                      std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<propertyapi::Property> changes_;
};

/// Waits until everything committed so far has been delivered by a client: a change of a key of its
/// own comes last.
bool waitForDelivery(const propertyapi::IPropertyApi& api);
