// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/HostPath.h"

#include <memory>
#include <optional>
#include <string>

namespace ovoctl {

/// A look at the phone's property store that changes nothing, neither the store nor the files
/// beside it. For one thread at a time.
class StoredProperties {
public:
    /// Throws Unaskable, whose text names the file, where there is no store or it cannot be read.
    explicit StoredProperties(const posix::HostPath& store);
    ~StoredProperties();
    StoredProperties(const StoredProperties&) = delete;
    StoredProperties& operator=(const StoredProperties&) = delete;

    /// Nothing where the key does not exist. Throws propertyapi::PropertyApiException.
    std::optional<std::string> value(const std::string& key) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace ovoctl
