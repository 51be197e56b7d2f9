// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace http {

/// A private key that was loaded from a file.
class IPrivateKey {
public:
    virtual ~IPrivateKey() = default;
    /// True when it parsed with the password given at loading.
    virtual bool isValid() const = 0;
    /// Writes it as PEM (mode 0600), encrypted when the password is not empty, directories made
    /// where missing; false when that failed (one level 2 log line says why).
    virtual bool save(const std::string& path, const std::string& password) const = 0;
};

} // namespace http
