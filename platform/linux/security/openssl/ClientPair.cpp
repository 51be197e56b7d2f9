// SPDX-License-Identifier: Apache-2.0
#include "ClientPair.h"

#include <openssl/pem.h>
#include <openssl/ssl.h>

#include <memory>
#include <new>
#include <vector>

namespace security {

namespace {

using TlsContextPtr = std::unique_ptr<SSL_CTX, OpenSslDeleter<SSL_CTX_free>>;

constexpr std::string_view HEADER =
    "# The client certificate and key that matched last: what is changed here is lost.\n";
constexpr const char* PASSWORD_BLOCK = "CLIENT KEY PASSWORD";
/// What the web client can pass on: a C string of less than the library's buffer.
constexpr std::size_t PASSWORD_BYTES = PEM_BUFSIZE - 1;

struct FreeStack {
    void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); }
};
using StackPtr = std::unique_ptr<STACK_OF(X509), FreeStack>;

/// All but the first one; the chain still owns them.
StackPtr issuersOf(const std::vector<X509Ptr>& chain) {
    StackPtr issuers(sk_X509_new_null());
    if (!issuers)
        throw std::bad_alloc();
    for (std::size_t i = 1; i < chain.size(); ++i)
        sk_X509_push(issuers.get(), chain[i].get());
    return issuers;
}

/// Puts the pair to use as a connection does; why that fails; empty: it does not. Beside the match
/// the library checks the strength of keys and signatures.
std::string refusalByTls(const std::vector<X509Ptr>& chain, EVP_PKEY* key) {
    const OpenSslErrors errors;
    constexpr int OVERRIDE = 1;
    const TlsContextPtr context(SSL_CTX_new(TLS_client_method()));
    const StackPtr issuers = issuersOf(chain);
    if (context && SSL_CTX_use_cert_and_key(context.get(), chain.front().get(), key, issuers.get(),
                                            OVERRIDE) == 1)
        return {};
    const char* reason = ERR_reason_error_string(ERR_peek_last_error());
    return std::string("the TLS library refuses it") +
           (reason == nullptr ? "" : std::string(": ") + reason);
}

bool matches(X509* certificate, const EVP_PKEY* key) {
    const OpenSslErrors errors;
    return X509_check_private_key(certificate, key) == 1;
}

bool canBePassedOn(const std::string& password) {
    return password.size() <= PASSWORD_BYTES && password.find('\0') == std::string::npos;
}

bool write(BIO* sink, std::string_view text) {
    return BIO_write(sink, text.data(), static_cast<int>(text.size())) ==
           static_cast<int>(text.size());
}

bool writePassword(BIO* sink, const std::string& password) {
    // A block without content could not be read back.
    return password.empty() ||
           PEM_write_bio(sink, PASSWORD_BLOCK, "",
                         reinterpret_cast<const unsigned char*>(password.data()),
                         static_cast<long>(password.size())) > 0;
}

http::Secret readPassword(const std::string& text) {
    const OpenSslErrors errors;
    const BioPtr source = makeSource(text);
    unsigned char* data = nullptr;
    long size = 0;
    if (PEM_bytes_read_bio(&data, &size, nullptr, PASSWORD_BLOCK, source.get(), refusePassword,
                           nullptr) != 1)
        return {};
    const auto length = static_cast<std::size_t>(size);
    http::Secret password(std::string(reinterpret_cast<const char*>(data), length));
    OPENSSL_clear_free(data, length);
    return password;
}

} // namespace

ClientPair::ClientPair(std::string_view certificates, std::string_view key,
                       const http::Secret& password)
    : password_(password), certificate_(certificates), key_(key, password.text()) {}

ClientPair::Problems ClientPair::problems() const {
    const std::vector<X509Ptr>& chain = certificate_.chain();
    if (chain.empty())
        return {x509::NO_CERTIFICATE, {}};
    if (!key_.isValid())
        return {{}, key_.whyInvalid()};
    if (!canBePassedOn(password_.text()))
        return {{}, "its password is too long or holds a NUL"};
    if (!matches(chain.front().get(), key_.get()))
        return {{}, "it is not the key of the certificate"};
    return {refusalByTls(chain, key_.get()), {}};
}

bool ClientPair::isUsable() const {
    const Problems found = problems();
    return found.ofCertificate.empty() && found.ofKey.empty();
}

http::Secret ClientPair::toText() const {
    const OpenSslErrors errors;
    const http::Secret key = key_.toPem(password_.text());
    const BioPtr sink = makeSink();
    const bool written = !key.empty() && write(sink.get(), HEADER) &&
                         write(sink.get(), certificate_.toPem()) && write(sink.get(), key.text()) &&
                         writePassword(sink.get(), password_.text());
    return written ? http::Secret(contentOf(sink)) : http::Secret();
}

ClientPair ClientPair::fromText(const http::Secret& text) {
    return {text.text(), text.text(), readPassword(text.text())};
}

bool operator==(const ClientPair& left, const ClientPair& right) {
    const OpenSslErrors errors;
    return left.password_ == right.password_ &&
           left.certificate_.toPem() == right.certificate_.toPem() && left.key_.isValid() &&
           right.key_.isValid() && EVP_PKEY_eq(left.key_.get(), right.key_.get()) == 1;
}

} // namespace security
