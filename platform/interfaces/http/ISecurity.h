// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/ICertificate.h"
#include "http/IPrivateKey.h"
#include "http/Secret.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace http {

/// Where the client certificate lies that is offered to servers, and its key, both PEM; they may
/// stand in one file. Paths are the phone's.
struct ClientIdentity {
    std::string certificatePath;
    std::string keyPath;
    Secret password; ///< of the key; empty: the key is not encrypted
};

/// The phone's security service: trusted certificates, client certificate and key. Any thread.
class ISecurity {
public:
    /// (operation, certificate's file name); operation is "Accept" or "Remove".
    using CertificateOperations = std::vector<std::pair<std::string, std::string>>;

    /// True when the file holds a certificate that is usable as trusted: it parses, is within its
    /// dates and may sign certificates or is self-signed; otherwise one level 2 log line says why.
    /// Does not throw on bad content.
    virtual bool checkCertificate(const std::string& path) const = 0;
    /// Rebuilds the bundle of trusted certificates from every PEM or DER certificate in a
    /// directory. A file without a usable certificate is skipped. Throws std::runtime_error
    /// when the bundle cannot be written; then the previous one stays.
    virtual void updateCaBundle(const std::string& directory) = 0;
    /// What the rebuilds found since the last call: "Accept" for a certificate new in the bundle,
    /// "Remove" for one that is gone. Reading empties the list.
    virtual CertificateOperations takeCertificateOperations() = 0;
    /// Path of the bundle; the file need not exist.
    virtual std::string getCaBundlePath() const = 0;
    /// The client certificate and key to offer: the installed ones when they parse and belong
    /// together, otherwise the last ones that did (a renewal is not complete). Nothing when
    /// there are none; one level 2 log line says why, once for each change of the files. A key or
    /// password file that others have permissions for is used, with one level 2 line a change.
    virtual std::optional<ClientIdentity> getClientIdentity() const = 0;
    /// Loads a certificate (PEM or DER). Never null: a file that does not parse gives an invalid
    /// certificate. One level 2 log line says why it is not valid. Throws std::runtime_error when
    /// the file cannot be read.
    virtual std::shared_ptr<ICertificate> loadCertificate(const std::string& path) const = 0;
    /// Loads a private key (PEM or DER, encrypted or not). Never null; errors as above.
    virtual std::shared_ptr<IPrivateKey> loadPrivateKey(const std::string& path,
                                                        const std::string& password) const = 0;
    virtual ~ISecurity() = default;
};

} // namespace http
