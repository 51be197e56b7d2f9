// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "phoneconfig/IPhoneConfig.h"

namespace app {

/// Replaces a phone configuration that cannot be read: nothing is configured, so that every reader
/// uses its default.
class EmptyPhoneConfig : public phoneconfig::IPhoneConfig {
public:
    bool hasValue(const std::string&) const override { return false; }
    std::string getValue(const std::string&) const override { return {}; }
};

} // namespace app
