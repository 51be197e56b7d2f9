// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace http {

/// Decrypts provisioning files. Any thread.
class IDecrypter {
public:
    virtual ~IDecrypter() = default;
    /// Plain content of an encrypted file; the file itself is not touched. Throws
    /// std::runtime_error with a sentence when the file is not encrypted (it is then used as it
    /// is), when key file or file cannot be read or the plain text has more than 16 MiB, and (one
    /// and the same sentence) when the key is wrong or the file is damaged.
    virtual std::string decrypt(const std::string& path) = 0;
};

} // namespace http
