// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace http {

/// A certificate that was loaded from a file.
class ICertificate {
public:
    virtual ~ICertificate() = default;
    /// True when it parsed and is within its dates.
    virtual bool isValid() const = 0;
    /// Writes it as PEM (mode 0644), directories made where missing; false when that failed (one
    /// level 2 log line says why).
    virtual bool save(const std::string& path) const = 0;
};

} // namespace http
