// SPDX-License-Identifier: Apache-2.0
#include "X509Text.h"

#include "common/WallClock.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <array>
#include <chrono>
#include <ctime>
#include <new>

namespace security::x509 {

namespace {

std::vector<X509Ptr> parsePem(std::string_view content) {
    std::vector<X509Ptr> certificates;
    const BioPtr source = makeSource(content);
    for (std::size_t left = content.size() + 1; BIO_ctrl_pending(source.get()) < left;) {
        left = BIO_ctrl_pending(source.get());
        X509Ptr certificate(PEM_read_bio_X509(source.get(), nullptr, refusePassword, nullptr));
        // A block that does not parse is passed over; the ones after it count.
        if (certificate)
            certificates.push_back(std::move(certificate));
    }
    return certificates;
}

std::vector<X509Ptr> parseDer(std::string_view content) {
    std::vector<X509Ptr> certificates;
    const auto* bytes = reinterpret_cast<const unsigned char*>(content.data());
    X509Ptr certificate(d2i_X509(nullptr, &bytes, static_cast<long>(content.size())));
    if (certificate)
        certificates.push_back(std::move(certificate));
    return certificates;
}

using TimePtr = std::unique_ptr<ASN1_TIME, OpenSslDeleter<ASN1_TIME_free>>;

/// To the second. The library is given a text: a time as a number may be narrower there than here.
TimePtr currentTime() {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(common::WallClock::now());
    std::tm parts{};
    std::array<char, sizeof "99991231235959Z"> text{};
    TimePtr time(ASN1_TIME_new());
    if (!time || ::gmtime_r(&seconds, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y%m%d%H%M%SZ", &parts) == 0 ||
        ASN1_TIME_set_string(time.get(), text.data()) != 1)
        throw std::bad_alloc();
    return time;
}

} // namespace

std::vector<X509Ptr> parse(std::string_view content) {
    const OpenSslErrors errors;
    return content.find("-----BEGIN ") == std::string_view::npos ? parseDer(content)
                                                                 : parsePem(content);
}

std::string toPem(X509* certificate) {
    const OpenSslErrors errors;
    const BioPtr sink = makeSink();
    return PEM_write_bio_X509(sink.get(), certificate) == 1 ? contentOf(sink) : std::string();
}

std::string fingerprint(X509* certificate) {
    const OpenSslErrors errors;
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (X509_digest(certificate, EVP_sha256(), digest.data(), &size) != 1)
        throw std::bad_alloc();
    return {reinterpret_cast<const char*>(digest.data()), size};
}

const char* whyNotNow(const X509* certificate) {
    const OpenSslErrors errors;
    const ASN1_TIME* begin = X509_get0_notBefore(certificate);
    const ASN1_TIME* end = X509_get0_notAfter(certificate);
    if (X509_cmp_current_time(begin) == 0 || X509_cmp_current_time(end) == 0)
        return "its dates are malformed";
    // What the library takes for the current time is wrong where its times are 32 bits wide.
    const TimePtr now = currentTime();
    if (ASN1_TIME_compare(begin, now.get()) > 0)
        return "it is not valid yet";
    return ASN1_TIME_compare(end, now.get()) <= 0 ? "it has expired" : nullptr;
}

const char* whyUnusable(X509* certificate) {
    const OpenSslErrors errors;
    if ((X509_get_extension_flags(certificate) & EXFLAG_INVALID) != 0)
        return "its extensions are malformed";
    if (const char* const why = whyNotNow(certificate))
        return why;
    constexpr int VERIFY_SIGNATURE = 1;
    if (X509_check_ca(certificate) == 0 && X509_self_signed(certificate, VERIFY_SIGNATURE) != 1)
        return "it may not sign certificates and is not self-signed";
    return nullptr;
}

} // namespace security::x509
