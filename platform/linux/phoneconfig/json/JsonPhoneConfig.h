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
    /// A missing file is an empty configuration (one level 2 line). A file that cannot be read or
    /// is not such an object (a value is not a text, a key comes twice) throws std::runtime_error,
    /// which names the file, and line and column or the key.
    explicit JsonPhoneConfig(const std::string& path = "/etc/phoneconfig.json");

    bool hasValue(const std::string& key) const override;
    std::string getValue(const std::string& key) const override;

private:
    const std::map<std::string, std::string> values_;
};

} // namespace phoneconfig
