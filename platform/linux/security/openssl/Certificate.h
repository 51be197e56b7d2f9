// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "X509Text.h"
#include "http/ICertificate.h"

#include <string>
#include <string_view>
#include <vector>

namespace security {

/// A certificate, and those after it in its file: its chain of issuers.
class Certificate : public http::ICertificate {
public:
    explicit Certificate(std::string_view content);

    bool isValid() const override { return whyInvalid() == nullptr; }
    bool save(const std::string& path) const override;

    /// Null: it is valid.
    const char* whyInvalid() const;
    /// Itself first; empty: it did not parse.
    const std::vector<X509Ptr>& chain() const { return chain_; }
    /// The chain; empty when it cannot be written.
    std::string toPem() const;

private:
    std::vector<X509Ptr> chain_;
};

} // namespace security
