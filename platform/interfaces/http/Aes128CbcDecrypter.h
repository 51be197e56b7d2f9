// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/IDecrypter.h"

#include <memory>
#include <string>

namespace http {

/// Files made by: openssl enc -aes-128-cbc -pbkdf2 -pass file:KEYFILE
class Aes128CbcDecrypter : public IDecrypter {
public:
    /// keyFile: path of the file whose first line is the password; read at each decryption. A file
    /// that others have permissions for is used all the same, with one level 2 line for each of its
    /// states.
    explicit Aes128CbcDecrypter(std::string keyFile);
    ~Aes128CbcDecrypter() override;
    Aes128CbcDecrypter(const Aes128CbcDecrypter&) = delete;
    Aes128CbcDecrypter& operator=(const Aes128CbcDecrypter&) = delete;

    std::string decrypt(const std::string& path) override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace http
