#ifndef STUBSECURITY_H
#define STUBSECURITY_H

#include "http/ISecurity.h"

/// A security service that only says where bundle and client certificate lie.
struct StubSecurity : http::ISecurity {
    std::optional<http::ClientIdentity> clientIdentity;

    bool checkCertificate(const std::string&) const override { return false; }
    void updateCaBundle(const std::string&) override {}
    CertificateOperations takeCertificateOperations() override { return {}; }
    std::string getCaBundlePath() const override { return "/data/certs/ca-bundle.pem"; }
    std::optional<http::ClientIdentity> getClientIdentity() const override {
        return clientIdentity;
    }
    std::shared_ptr<http::ICertificate> loadCertificate(const std::string&) const override {
        return nullptr;
    }
    std::shared_ptr<http::IPrivateKey> loadPrivateKey(const std::string&,
                                                      const std::string&) const override {
        return nullptr;
    }
};

#endif
