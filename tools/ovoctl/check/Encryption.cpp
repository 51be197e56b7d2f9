// SPDX-License-Identifier: Apache-2.0
#include "Encryption.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace ovoctl::check {

namespace {

constexpr std::string_view MAGIC = "Salted__";
constexpr std::string_view MAGIC_IN_BASE64 = "U2FsdGVkX1";
constexpr std::size_t SALT_BYTES = 8;
constexpr std::size_t HEADER_BYTES = MAGIC.size() + SALT_BYTES;
constexpr std::size_t BLOCK_BYTES = 16;
constexpr std::size_t MAX_PASSWORD_BYTES = 1023;
constexpr std::size_t LONGEST_KEY_MATERIAL = 48;
/// How much of a text is decrypted to see what it is.
constexpr std::size_t SAMPLE_BYTES = 4096;

/// How a key is made of a pass phrase.
struct Options {
    const char* cipher;
    const char* digest;
    int rounds; ///< of PBKDF2; 0: the tool's old way, without -pbkdf2
};
constexpr Options OURS{"aes-128-cbc", "sha256", 10000};

bool operator==(const Options& left, const Options& right) {
    return std::string_view(left.cipher) == right.cipher &&
           std::string_view(left.digest) == right.digest && left.rounds == right.rounds;
}

constexpr std::array<const char*, 3> CIPHERS{"aes-128-cbc", "aes-256-cbc", "aes-192-cbc"};
constexpr std::array<const char*, 5> DIGESTS{"sha256", "md5", "sha1", "sha512", "sha384"};
constexpr std::array<int, 14> ROUNDS{0,     10000, 1,      1000,   2000,   4096,   5000,
                                     20000, 50000, 100000, 200000, 310000, 500000, 600000};
/// Beyond these only the cipher and digest of ours are tried, because each round costs time.
constexpr int MOST_ROUNDS_OF_OTHERS = 10000;

using ContextPtr = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

struct KeyMaterial {
    ~KeyMaterial() { OPENSSL_cleanse(bytes.data(), bytes.size()); }
    std::array<unsigned char, LONGEST_KEY_MATERIAL> bytes{};
    unsigned char* vector = nullptr;
};

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

bool derive(KeyMaterial& material, const EVP_CIPHER* cipher, const Options& options,
            std::string_view password, std::string_view salt) {
    const EVP_MD* const digest = EVP_get_digestbyname(options.digest);
    const int keyBytes = EVP_CIPHER_get_key_length(cipher);
    material.vector = material.bytes.data() + keyBytes;
    const auto size = static_cast<int>(password.size());
    if (options.rounds == 0)
        return EVP_BytesToKey(cipher, digest, bytesOf(salt), bytesOf(password), size, 1,
                              material.bytes.data(), material.vector) > 0;
    return PKCS5_PBKDF2_HMAC(password.data(), size, bytesOf(salt), static_cast<int>(salt.size()),
                             options.rounds, digest, keyBytes + static_cast<int>(BLOCK_BYTES),
                             material.bytes.data()) == 1;
}

/// text: with its header. isWhole: false: a part, which has no padding at its end.
std::optional<std::string> tryOptions(std::string_view text, std::string_view password,
                                      const Options& options, bool isWhole) {
    const EVP_CIPHER* const cipher = EVP_get_cipherbyname(options.cipher);
    const ContextPtr context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    KeyMaterial material;
    const std::string_view body = text.substr(HEADER_BYTES);
    if (!context ||
        !derive(material, cipher, options, password, text.substr(MAGIC.size(), SALT_BYTES)))
        return std::nullopt;
    std::string plain(body.size() + BLOCK_BYTES, '\0');
    auto* const target = reinterpret_cast<unsigned char*>(plain.data());
    int size = 0;
    int rest = 0;
    if (EVP_DecryptInit_ex(context.get(), cipher, nullptr, material.bytes.data(),
                           material.vector) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), isWhole ? 1 : 0) != 1 ||
        EVP_DecryptUpdate(context.get(), target, &size, bytesOf(body),
                          static_cast<int>(body.size())) != 1 ||
        EVP_DecryptFinal_ex(context.get(), target + size, &rest) != 1) {
        ERR_clear_error();
        return std::nullopt;
    }
    plain.resize(static_cast<std::size_t>(size) + static_cast<std::size_t>(rest));
    return plain;
}

bool looksLikeXml(std::string_view text) {
    if (text.starts_with("\xef\xbb\xbf"))
        text.remove_prefix(3);
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos || text[first] != '<' || first + 1 == text.size())
        return false;
    const char next = text[first + 1];
    return next == '?' || next == '!' || next == '_' || (next >= 'a' && next <= 'z') ||
           (next >= 'A' && next <= 'Z') || static_cast<unsigned char>(next) > 0x7f;
}

std::string describe(const Options& options) {
    std::string text;
    const auto add = [&text](const std::string& part) {
        text += (text.empty() ? "" : ", ") + part;
    };
    if (options.rounds == 0)
        add("without -pbkdf2");
    else if (options.rounds != OURS.rounds)
        add("with " + std::to_string(options.rounds) + " rounds (-iter) instead of " +
            std::to_string(OURS.rounds));
    if (std::string_view(options.digest) != OURS.digest)
        add(std::string("with the digest ") + options.digest + " instead of " + OURS.digest);
    if (std::string_view(options.cipher) != OURS.cipher)
        add(std::string("with ") + options.cipher + " instead of " + OURS.cipher);
    return text;
}

std::vector<Options> otherOptions() {
    std::vector<Options> all;
    for (const int rounds : ROUNDS)
        for (const char* cipher : CIPHERS)
            for (const char* digest : DIGESTS) {
                const Options options{cipher, digest, rounds};
                const bool isCheap = rounds <= MOST_ROUNDS_OF_OTHERS ||
                                     options == Options{OURS.cipher, OURS.digest, rounds};
                if (isCheap && !(options == OURS))
                    all.push_back(options);
            }
    return all;
}

/// A sentence about the options that fit; empty: none of those that are tried do.
std::string otherOptionsOf(std::string_view text, std::string_view password) {
    const bool isWhole = text.size() <= SAMPLE_BYTES;
    for (const Options& options : otherOptions()) {
        const auto plain =
            tryOptions(text.substr(0, HEADER_BYTES + (isWhole ? text.size() : SAMPLE_BYTES)),
                       password, options, isWhole);
        if (plain && looksLikeXml(*plain))
            return "the file is encrypted " + describe(options) +
                   "; the phone reads openssl enc -aes-128-cbc -pbkdf2";
    }
    return {};
}

} // namespace

bool isEncrypted(std::string_view text) {
    return text.starts_with(MAGIC);
}

std::string disguiseOf(std::string_view text) {
    return text.starts_with(MAGIC_IN_BASE64)
               ? "the file is encrypted and in Base64; encrypt it without -a and -base64"
               : std::string();
}

Decrypted decrypt(std::string_view text, std::string_view keyFile) {
    constexpr std::string_view ENDS{"\n\0", 2};
    const std::string_view password =
        keyFile.substr(0, std::min(keyFile.find_first_of(ENDS), MAX_PASSWORD_BYTES));
    if (text.size() <= HEADER_BYTES || (text.size() - HEADER_BYTES) % BLOCK_BYTES != 0)
        return {std::nullopt,
                "the encrypted file is cut or damaged: after 16 bytes it is not whole "
                "blocks of 16 bytes"};
    std::optional<std::string> plain = tryOptions(text, password, OURS, true);
    if (plain && looksLikeXml(*plain))
        return {std::move(plain), {}};
    const std::string other = otherOptionsOf(text, password);
    if (!other.empty())
        return {std::nullopt, other};
    return {std::nullopt, plain
                              ? "the key is wrong, the file is damaged, or what is in it is not XML"
                              : "the key is wrong or the file is damaged"};
}

} // namespace ovoctl::check
