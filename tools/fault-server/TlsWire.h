// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Wire.h"

#include <memory>
#include <string>

/// A certificate and its private key, both PEM.
struct TlsIdentity {
    std::string certificate;
    std::string key;
};

/// The server's end of a TLS connection over another wire, with OpenSSL.
class TlsWire : public Wire {
public:
    enum class Version { Tls12, Tls13 };
    enum class ClientCertificate { Ignored, Requested, Required };

    struct Settings {
        TlsIdentity server;
        Version version = Version::Tls13; ///< only this one
        ClientCertificate client = ClientCertificate::Ignored;
        std::string clientCa; ///< PEM; the authority of client certificates
        std::string group;    ///< for keys, the only one; empty: any
        std::string protocol; ///< picked from those that the client offers; empty: none
    };

    TlsWire(Wire& below, const Settings& settings);
    ~TlsWire() override;
    TlsWire(const TlsWire&) = delete;
    TlsWire& operator=(const TlsWire&) = delete;

    /// False when it fails; the client has been told why.
    bool shakeHands();
    /// After the handshake, in TLS 1.2 by a further one, in TLS 1.3 by a request of its own:
    /// requires a client certificate. False when there is none; the client has been told.
    bool requireClientCertificate();
    /// Begins the same and waits for the client's part, but does not read it. False when the
    /// connection has ended.
    bool beginToRequireClientCertificate();

    /// TLS 1.2: begins a further handshake and ends the connection when only its own last message
    /// is missing.
    void breakFurtherHandshake();
    /// TLS 1.3: sends a ticket with what is sent next.
    void addTicket();

    bool send(const std::string& bytes) override;
    std::string receive() override;
    bool hasMore() const override;
    int socket() const override { return below_.socket(); }

private:
    struct Impl;

    Wire& below_;
    std::unique_ptr<Impl> impl_;
};
