// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

namespace propertyapi {

/// A failed operation of the property store. The text names the operation, the key (or
/// "batch of N properties" and its first key) and the cause; it never holds a value.
class PropertyApiException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace propertyapi
