// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/IPropertyApi.h"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace ovoproperty {

/// The tool's commands on a property store. Each returns the exit status; the store's errors pass
/// through as propertyapi::PropertyApiException.
class PropertyCommands {
public:
    PropertyCommands(const propertyapi::IPropertyApi& store, std::ostream& output);

    /// Prints the values, one a line; 1 when a key does not exist, for which an empty line stands.
    int get(const std::vector<std::string>& keys) const;
    /// Writes KEY VALUE pairs in one batch and prints how many changed. The list's length is even.
    int set(const std::vector<std::string>& keysAndValues, const std::string& origin) const;
    /// Removes keys; 1 when one did not exist.
    int remove(const std::vector<std::string>& keys) const;
    /// Prints KEY=VALUE for each change until wait() returns.
    int watch(const std::vector<std::string>& keys, const std::function<void()>& wait) const;

private:
    const propertyapi::IPropertyApi& store_;
    std::ostream& output_;
};

} // namespace ovoproperty
