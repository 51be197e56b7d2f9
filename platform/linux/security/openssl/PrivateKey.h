// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "OpenSsl.h"
#include "http/IPrivateKey.h"
#include "http/Secret.h"

#include <string>
#include <string_view>

namespace security {

class PrivateKey : public http::IPrivateKey {
public:
    /// content: PEM or DER; PKCS#8 or the older form of the key's kind; encrypted or not.
    PrivateKey(std::string_view content, const std::string& password);

    bool isValid() const override { return problem_ == nullptr; }
    bool save(const std::string& path, const std::string& password) const override;

    /// Null: it is valid.
    const char* whyInvalid() const { return problem_; }
    EVP_PKEY* get() const { return key_.get(); }
    /// Encrypted when the password is not empty; empty when it cannot be written.
    http::Secret toPem(const std::string& password) const;

private:
    KeyPtr key_; ///< empty: it did not parse
    const char* problem_ = nullptr;
};

} // namespace security
