// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/process/PhoneRoot.h"

#include <string>
#include <vector>

/// Makes certificates and keys with the stock command line, in a directory of its own.
class CertificateMaker {
public:
    /// Dates as the tool takes them.
    static constexpr const char* PAST = "20000101000000Z";
    static constexpr const char* RECENT = "20200101000000Z";
    static constexpr const char* FUTURE = "20900101000000Z";
    static constexpr const char* FAR_FUTURE = "20950101000000Z";

    struct Request {
        std::string name = "CA";
        std::string extensions = "basicConstraints=critical,CA:TRUE"; ///< lines of a section
        std::string begin = PAST;
        std::string end = FAR_FUTURE;
        std::string issuer; ///< name of a certificate made before; empty: self-signed
    };

    CertificateMaker();

    /// A certificate in PEM; its key is makeKey()'s, kept under the request's name for issuing.
    std::string make(const Request& request);
    std::string make(const std::string& name);
    /// The private key of a certificate made before, as by makeKey().
    std::string keyOf(const std::string& name) const { return readHostFile(file(name + ".key")); }
    /// A private key in PEM (PKCS#8, not encrypted) of "EC", "RSA" or "ED25519".
    std::string makeKey(const std::string& algorithm = "EC");

    std::string toDer(const std::string& pem);
    /// Runs the tool with the input; its output. A failure fails the test.
    std::string openssl(std::vector<std::string> arguments, const std::string& input = {});

private:
    std::string file(const std::string& name) const { return directory_.path() + "/" + name; }

    const TemporaryDirectory directory_;
};
