// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CheckStore.h"
#include "phoneconfig/IPhoneConfig.h"

#include <memory>
#include <optional>
#include <string>

namespace ovoctl::check {

/// What is known about the phone that files are checked for.
struct KnownPhone {
    /// Properties; the MAC address where it is known. Never null.
    std::shared_ptr<const Values> values = std::make_shared<Values>();
    bool areLocksKnown = false;
    std::string product; ///< empty: any
    std::string majorId;
    std::string minorId;
    /// The installed firmware. None: nobody looked.
    std::optional<std::string> firmware;

    std::string macAddress() const;
};

/// The phone below HALDEN_ROOT: its store, configuration and version file. Changes nothing there.
/// mac: instead of the store's where it is not empty. Throws Unaskable and PropertyApiException.
KnownPhone readPhone(const std::string& mac);

/// The phone's configuration, as far as it is known. Any thread.
class KnownConfiguration : public phoneconfig::IPhoneConfig {
public:
    explicit KnownConfiguration(const KnownPhone& phone)
        : majorId_(phone.majorId), minorId_(phone.minorId) {}

    bool hasValue(const std::string& key) const override { return !getValue(key).empty(); }
    std::string getValue(const std::string& key) const override;

private:
    const std::string majorId_;
    const std::string minorId_;
};

} // namespace ovoctl::check
