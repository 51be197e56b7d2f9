// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace propertyapi {

/// One change of the property store: a key and the value it has taken (empty when it was removed).
struct Property {
    std::string key;
    std::string value;
};

} // namespace propertyapi
