// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace phoneconfig {

/// The phone's configuration: fixed texts by key, read once at start. Every operation may be called
/// from every thread and does not throw.
class IPhoneConfig {
public:
    virtual ~IPhoneConfig() = default;
    virtual bool hasValue(const std::string& key) const = 0;
    /// Value of a key; the empty text for a key that is not configured.
    virtual std::string getValue(const std::string& key) const = 0;
};

} // namespace phoneconfig
