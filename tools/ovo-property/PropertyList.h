// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace ovoproperty {

/// A row of the property store.
struct StoredProperty {
    std::string key;
    std::string value;
    std::string origin; ///< who wanted the value; empty: nobody in particular
};

/// What the store at a phone path holds under keys that begin with a prefix, in the order of the
/// keys, as it was at one moment. The store must exist. Throws std::runtime_error.
std::vector<StoredProperty> listProperties(const std::string& path, const std::string& prefix);

} // namespace ovoproperty
