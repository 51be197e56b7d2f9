// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/ISecurity.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>
#include <string>

namespace http {

/// The security service over the phone's certificate directories (below "/data/certs/").
class Security : public ISecurity {
public:
    explicit Security(std::shared_ptr<propertyapi::IPropertyApi> propertyApi);
    ~Security() override;
    Security(const Security&) = delete;
    Security& operator=(const Security&) = delete;

    bool checkCertificate(const std::string& path) const override;
    void updateCaBundle(const std::string& directory) override;
    CertificateOperations takeCertificateOperations() override;
    std::string getCaBundlePath() const override;
    std::optional<ClientIdentity> getClientIdentity() const override;
    std::shared_ptr<ICertificate> loadCertificate(const std::string& path) const override;
    std::shared_ptr<IPrivateKey> loadPrivateKey(const std::string& path,
                                                const std::string& password) const override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace http
