// SPDX-License-Identifier: Apache-2.0
#include "SaltedText.h"

#include "OpenSsl.h"

#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <new>

namespace security::salted {

namespace {

constexpr std::size_t SALT_BYTES = HEADER_BYTES - MAGIC.size();
/// The stock tool takes no more of a line as the password.
constexpr std::size_t MAX_PASSWORD_BYTES = 1023;

void require(bool isDone) {
    if (!isDone)
        throw std::bad_alloc();
}

unsigned char* bytesOf(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

/// Key and initialisation vector; wiped when they go.
class KeyMaterial {
public:
    KeyMaterial(const EVP_CIPHER* cipher, std::string_view password, const unsigned char* salt,
                const Options& options)
        : keyBytes_(static_cast<std::size_t>(EVP_CIPHER_get_key_length(cipher))) {
        const EVP_MD* digest = EVP_get_digestbyname(options.digest.c_str());
        require(digest != nullptr);
        const auto size = static_cast<int>(password.size());
        if (options.rounds == 0)
            require(EVP_BytesToKey(cipher, digest, salt, bytesOf(password), size, 1, bytes_.data(),
                                   bytes_.data() + keyBytes_) != 0);
        else
            require(PKCS5_PBKDF2_HMAC(
                        password.data(), size, salt, static_cast<int>(SALT_BYTES), options.rounds,
                        digest, static_cast<int>(keyBytes_ + BLOCK_BYTES), bytes_.data()) == 1);
    }
    ~KeyMaterial() { OPENSSL_cleanse(bytes_.data(), bytes_.size()); }
    KeyMaterial(const KeyMaterial&) = delete;
    KeyMaterial& operator=(const KeyMaterial&) = delete;

    const unsigned char* key() const { return bytes_.data(); }
    const unsigned char* vector() const { return bytes_.data() + keyBytes_; }

private:
    std::size_t keyBytes_;
    std::array<unsigned char, EVP_MAX_KEY_LENGTH + EVP_MAX_IV_LENGTH> bytes_{};
};

/// A cipher in one direction with the key of a password.
class Cipher {
public:
    Cipher(bool encrypts, std::string_view password, const unsigned char* salt,
           const Options& options)
        : context_(EVP_CIPHER_CTX_new()) {
        const EVP_CIPHER* cipher = EVP_get_cipherbyname(options.cipher.c_str());
        require(context_ != nullptr && cipher != nullptr);
        const KeyMaterial material(cipher, password, salt, options);
        require(EVP_CipherInit_ex(context_.get(), cipher, nullptr, material.key(),
                                  material.vector(), encrypts ? 1 : 0) == 1);
    }

    void keepPadding() { EVP_CIPHER_CTX_set_padding(context_.get(), 0); }
    /// How many bytes it made of a text, in place or elsewhere; none: the padding is wrong.
    std::optional<std::size_t> run(unsigned char* target, const unsigned char* text,
                                   std::size_t size) {
        int done = 0;
        int rest = 0;
        if (EVP_CipherUpdate(context_.get(), target, &done, text, static_cast<int>(size)) != 1 ||
            EVP_CipherFinal_ex(context_.get(), target + done, &rest) != 1)
            return std::nullopt;
        return static_cast<std::size_t>(done) + static_cast<std::size_t>(rest);
    }

private:
    CipherContextPtr context_;
};

} // namespace

std::string_view passwordOf(std::string_view keyFileContent) {
    constexpr std::string_view ENDS{"\n\0", 2};
    return keyFileContent.substr(0,
                                 std::min(keyFileContent.find_first_of(ENDS), MAX_PASSWORD_BYTES));
}

bool decryptInPlace(std::string& text, std::string_view password, const Options& options) {
    const OpenSslErrors errors;
    if (text.size() <= HEADER_BYTES || (text.size() - HEADER_BYTES) % BLOCK_BYTES != 0)
        return false;
    Cipher cipher(false, password, bytesOf(text) + MAGIC.size(), options);
    unsigned char* const encrypted = bytesOf(text) + HEADER_BYTES;
    const auto size = cipher.run(encrypted, encrypted, text.size() - HEADER_BYTES);
    if (!size)
        return false;
    text.resize(HEADER_BYTES + *size);
    text.erase(0, HEADER_BYTES);
    return true;
}

std::optional<std::string> decryptBlocks(std::string_view text, std::string_view password,
                                         const Options& options) {
    const OpenSslErrors errors;
    if (text.size() < HEADER_BYTES + BLOCK_BYTES)
        return std::nullopt;
    const std::size_t size = (text.size() - HEADER_BYTES) / BLOCK_BYTES * BLOCK_BYTES;
    Cipher cipher(false, password, bytesOf(text) + MAGIC.size(), options);
    cipher.keepPadding();
    std::string plain(size, '\0');
    require(cipher.run(bytesOf(plain), bytesOf(text) + HEADER_BYTES, size).has_value());
    return plain;
}

std::string encrypt(std::string_view plain, std::string_view password, const Options& options) {
    const OpenSslErrors errors;
    std::string text(MAGIC);
    text.resize(HEADER_BYTES + plain.size() + BLOCK_BYTES);
    unsigned char* const salt = bytesOf(text) + MAGIC.size();
    require(RAND_bytes(salt, static_cast<int>(SALT_BYTES)) == 1);
    Cipher cipher(true, password, salt, options);
    const auto size = cipher.run(bytesOf(text) + HEADER_BYTES, bytesOf(plain), plain.size());
    require(size.has_value());
    text.resize(HEADER_BYTES + *size);
    return text;
}

} // namespace security::salted
