#include "Certificate.h"

#include "SavedFile.h"

namespace http {

Certificate::Certificate(std::string_view content) : chain_(x509::parse(content)) {}

bool Certificate::isValid() const {
    return !chain_.empty() && x509::isWithinDates(chain_.front().get());
}

bool Certificate::save(const std::string& path) const {
    std::string text;
    for (const X509Ptr& certificate : chain_)
        text += x509::toPem(certificate.get());
    return saveFile("certificate", path, text, filesystem::PUBLIC_FILE);
}

} // namespace http
