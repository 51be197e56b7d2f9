// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Certificate.h"
#include "PrivateKey.h"
#include "http/Secret.h"

#include <string>
#include <string_view>

namespace security {

/// A client certificate and what is taken for its private key.
class ClientPair {
public:
    /// The certificate's dates do not count: after a start the phone's clock may be wrong, and what
    /// is out of date is the server's to judge.
    struct Problems {
        std::string ofCertificate; ///< empty: none
        std::string ofKey;
    };

    /// password: of the key, for reading and for writing it.
    ClientPair(std::string_view certificates, std::string_view key, const http::Secret& password);

    /// Why it cannot be presented to a server; everything empty: it can.
    Problems problems() const;
    bool isUsable() const;

    /// Certificates, key and password in one text, so that one file holds what belongs together. As
    /// a PEM file it can be read as certificate and as key. Empty when it cannot be written.
    http::Secret toText() const;
    /// The other way. What does not parse is a pair with problems.
    static ClientPair fromText(const http::Secret& text);

    const http::Secret& password() const { return password_; }
    friend bool operator==(const ClientPair& left, const ClientPair& right);

private:
    http::Secret password_;
    Certificate certificate_;
    PrivateKey key_;
};

} // namespace security
