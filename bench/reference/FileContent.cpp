// SPDX-License-Identifier: Apache-2.0
#include "FileContent.h"

#include "Require.h"

#include <openssl/evp.h>

#include <array>
#include <memory>
#include <pugixml.hpp>

std::string decrypt(const std::string& encrypted, const std::string& password) {
    constexpr std::size_t HEADER = 16;
    std::array<unsigned char, 32> keyAndIv{};
    const auto* bytes = reinterpret_cast<const unsigned char*>(encrypted.data());
    require(::PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), bytes + 8, 8,
                                10000, EVP_sha256(), static_cast<int>(keyAndIv.size()),
                                keyAndIv.data()) == 1,
            "key derivation");
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    std::string plain(encrypted.size(), '\0');
    auto* out = reinterpret_cast<unsigned char*>(plain.data());
    int first = 0;
    int last = 0;
    require(EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, keyAndIv.data(),
                               keyAndIv.data() + 16) == 1 &&
                EVP_DecryptUpdate(context.get(), out, &first, bytes + HEADER,
                                  static_cast<int>(encrypted.size() - HEADER)) == 1 &&
                EVP_DecryptFinal_ex(context.get(), out + first, &last) == 1,
            "decryption");
    plain.resize(static_cast<std::size_t>(first) + static_cast<std::size_t>(last));
    return plain;
}

Parameters parse(std::string& text) {
    pugi::xml_document document;
    require(document.load_buffer_inplace(text.data(), text.size()), "parse");
    Parameters parameters;
    for (const pugi::xml_node settings : document.document_element())
        for (const pugi::xml_node param : settings)
            parameters.emplace_back(param.attribute("name").value(),
                                    param.attribute("value").value());
    return parameters;
}
