#include "PrivateKey.h"

#include "SavedFile.h"

#include <openssl/pem.h>

namespace http {

namespace {

KeyPtr parse(std::string_view content, const std::string& password) {
    const OpenSslErrors errors;
    // The callback only reads it.
    void* const secret = const_cast<std::string*>(&password);
    const BioPtr source = makeSource(content);
    if (content.find("-----BEGIN ") != std::string_view::npos)
        return KeyPtr(PEM_read_bio_PrivateKey(source.get(), nullptr, givePassword, secret));

    const auto* bytes = reinterpret_cast<const unsigned char*>(content.data());
    KeyPtr plain(d2i_AutoPrivateKey(nullptr, &bytes, static_cast<long>(content.size())));
    if (plain)
        return plain;
    return KeyPtr(d2i_PKCS8PrivateKey_bio(source.get(), nullptr, givePassword, secret));
}

/// Empty when it cannot be written.
std::string toPem(const EVP_PKEY* key, const std::string& password) {
    const OpenSslErrors errors;
    const BioPtr sink = makeSink();
    const EVP_CIPHER* cipher = password.empty() ? nullptr : EVP_aes_256_cbc();
    // The password is given: nothing is asked for, and a callback would be preferred to it.
    const int written =
        PEM_write_bio_PKCS8PrivateKey(sink.get(), key, cipher, password.data(),
                                      static_cast<int>(password.size()), nullptr, nullptr);
    return written == 1 ? contentOf(sink) : std::string();
}

} // namespace

PrivateKey::PrivateKey(std::string_view content, const std::string& password)
    : key_(parse(content, password)) {}

bool PrivateKey::isValid() const {
    return key_ != nullptr;
}

bool PrivateKey::save(const std::string& path, const std::string& password) const {
    std::string text = key_ ? toPem(key_.get(), password) : std::string();
    const Wipe wipe(text);
    return saveFile("private key", path, text, filesystem::PRIVATE_FILE);
}

} // namespace http
