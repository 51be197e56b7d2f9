// SPDX-License-Identifier: Apache-2.0
#include "PrivateKey.h"

#include "SavedFile.h"

#include <openssl/pem.h>

#include <algorithm>

namespace security {

namespace {

struct Question {
    const std::string& password;
    bool asked = false; ///< the library asked for it: the key is encrypted
};

/// A callback of the PEM functions, which without one ask on the terminal.
int givePassword(char* buffer, int size, int /*writing*/, void* context) {
    auto& question = *static_cast<Question*>(context);
    question.asked = true;
    const std::string& password = question.password;
    if (password.size() > static_cast<std::size_t>(size))
        return -1;
    std::copy(password.begin(), password.end(), buffer);
    return static_cast<int>(password.size());
}

KeyPtr parse(std::string_view content, Question& question) {
    const OpenSslErrors errors;
    const BioPtr source = makeSource(content);
    if (content.find("-----BEGIN ") != std::string_view::npos)
        return KeyPtr(PEM_read_bio_PrivateKey(source.get(), nullptr, givePassword, &question));

    const auto* bytes = reinterpret_cast<const unsigned char*>(content.data());
    KeyPtr plain(d2i_AutoPrivateKey(nullptr, &bytes, static_cast<long>(content.size())));
    if (plain)
        return plain;
    return KeyPtr(d2i_PKCS8PrivateKey_bio(source.get(), nullptr, givePassword, &question));
}

} // namespace

PrivateKey::PrivateKey(std::string_view content, const std::string& password) {
    Question question{password};
    key_ = parse(content, question);
    if (key_)
        return;
    if (!question.asked)
        problem_ = "it holds no private key";
    else if (password.empty())
        problem_ = "it is encrypted and there is no password";
    else
        problem_ = "the password does not open it";
}

bool PrivateKey::save(const std::string& path, const std::string& password) const {
    return saveFile("private key", path, toPem(password).text(), filesystem::PRIVATE_FILE);
}

http::Secret PrivateKey::toPem(const std::string& password) const {
    if (!key_)
        return {};
    const OpenSslErrors errors;
    const BioPtr sink = makeSink();
    const EVP_CIPHER* cipher = password.empty() ? nullptr : EVP_aes_256_cbc();
    // Without a callback: the library would prefer one to the password.
    const int written =
        PEM_write_bio_PKCS8PrivateKey(sink.get(), key_.get(), cipher, password.data(),
                                      static_cast<int>(password.size()), nullptr, nullptr);
    return written == 1 ? http::Secret(contentOf(sink)) : http::Secret();
}

} // namespace security
