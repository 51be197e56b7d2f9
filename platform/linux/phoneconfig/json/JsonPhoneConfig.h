// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "phoneconfig/IPhoneConfig.h"

#include <map>
#include <string>

namespace phoneconfig {

/// The phone's configuration from a file: one flat JSON object, key to text, in UTF-8. Read once,
/// by the constructor.
class JsonPhoneConfig : public IPhoneConfig {
public:
    /// A file that is missing is an empty configuration (one level 2 log line). Throws
    /// std::runtime_error for a file that cannot be read or is not such an object (no text, a key
    /// twice); it names the file, and line and column or the key.
    explicit JsonPhoneConfig(const std::string& path = "/etc/phoneconfig.json");

    bool hasValue(const std::string& key) const override;
    std::string getValue(const std::string& key) const override;

private:
    const std::map<std::string, std::string> values_;
};

} // namespace phoneconfig
