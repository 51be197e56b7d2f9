// SPDX-License-Identifier: Apache-2.0
#include "Certificate.h"

#include "SavedFile.h"

namespace security {

Certificate::Certificate(std::string_view content) : chain_(x509::parse(content)) {}

const char* Certificate::whyInvalid() const {
    return chain_.empty() ? x509::NO_CERTIFICATE : x509::whyNotNow(chain_.front().get());
}

bool Certificate::save(const std::string& path) const {
    return saveFile("certificate", path, toPem(), filesystem::PUBLIC_FILE);
}

std::string Certificate::toPem() const {
    std::string text;
    for (const X509Ptr& certificate : chain_)
        text += x509::toPem(certificate.get());
    return text;
}

} // namespace security
