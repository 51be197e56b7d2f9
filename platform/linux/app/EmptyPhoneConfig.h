// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "phoneconfig/IPhoneConfig.h"

namespace app {

/// Stands in for a phone configuration that cannot be read: nothing is configured, so that every
/// reader falls back to its default.
class EmptyPhoneConfig : public phoneconfig::IPhoneConfig {
public:
    bool hasValue(const std::string&) const override { return false; }
    std::string getValue(const std::string&) const override { return {}; }
};

} // namespace app
