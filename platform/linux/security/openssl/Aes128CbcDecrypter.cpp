// SPDX-License-Identifier: Apache-2.0
#include "http/Aes128CbcDecrypter.h"

#include "ExposedFiles.h"
#include "OpenSsl.h"
#include "filesystem/Filesystem.h"
#include "http/Secret.h"
#include "paths/Paths.h"
#include "posix/Descriptor.h"
#include "text/Quote.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>
#include <string_view>

namespace http {

namespace {

constexpr std::string_view MAGIC = "Salted__";
constexpr std::size_t SALT_BYTES = 8;
constexpr std::size_t HEADER_BYTES = MAGIC.size() + SALT_BYTES;
constexpr std::size_t KEY_BYTES = 16;
constexpr std::size_t BLOCK_BYTES = 16;
constexpr int ROUNDS = 10000;
/// Of the plain text: a provisioning file is never larger.
constexpr unsigned long long MAX_PLAIN_BYTES = 16ULL << 20U;
constexpr unsigned long long MAX_FILE_BYTES = MAX_PLAIN_BYTES + HEADER_BYTES + BLOCK_BYTES;
constexpr unsigned long long MAX_KEY_FILE_BYTES = 1ULL << 20U;
/// The stock tool takes no more of a line as the password.
constexpr std::size_t MAX_PASSWORD_BYTES = 1023;

[[noreturn]] void fail(const std::string& path, const std::string& why) {
    throw std::runtime_error("Decrypting " + quote(path) + " failed: " + why);
}

[[noreturn]] void failPlain(const std::string& path) {
    throw std::runtime_error(quote(path) + " is not encrypted; it is used as it is");
}

[[noreturn]] void failDamaged(const std::string& path) {
    fail(path, "the key is wrong or the file is damaged");
}

/// False for a plain file, however large. True for one that cannot be read: reading it tells why.
bool mayBeEncrypted(const std::string& path) {
    const posix::Descriptor file(
        ::open(paths::toHost(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    std::array<char, MAGIC.size()> begin{};
    const ssize_t size = file.isOpen() ? ::pread(file.get(), begin.data(), begin.size(), 0) : -1;
    return size < 0 || std::string_view(begin.data(), static_cast<std::size_t>(size)) == MAGIC;
}

/// Key and initialisation vector; wiped when they go.
struct KeyMaterial {
    KeyMaterial() = default;
    ~KeyMaterial() { OPENSSL_cleanse(bytes.data(), bytes.size()); }
    KeyMaterial(const KeyMaterial&) = delete;
    KeyMaterial& operator=(const KeyMaterial&) = delete;

    const unsigned char* key() const { return bytes.data(); }
    const unsigned char* vector() const { return bytes.data() + KEY_BYTES; }

    std::array<unsigned char, KEY_BYTES + BLOCK_BYTES> bytes{};
};

/// Made in place in the caller, which wipes it, so that no copy is left.
std::string readKeyFile(const std::string& keyFile, const std::string& path) {
    try {
        return filesystem::read(keyFile, MAX_KEY_FILE_BYTES);
    } catch (const std::exception& exception) {
        fail(path, std::string("no key: ") + exception.what());
    }
}

/// The password as the stock tool reads it: up to the line feed (a carriage return belongs to it)
/// or a NUL.
std::string_view firstLine(std::string_view content) {
    constexpr std::string_view ENDS{"\n\0", 2};
    return content.substr(0, std::min(content.find_first_of(ENDS), MAX_PASSWORD_BYTES));
}

void derive(KeyMaterial& material, std::string_view password, const unsigned char* salt) {
    if (PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), salt,
                          static_cast<int>(SALT_BYTES), ROUNDS, EVP_sha256(),
                          static_cast<int>(material.bytes.size()), material.bytes.data()) != 1)
        throw std::bad_alloc();
}

/// Decrypts a text in place; false when its padding is wrong.
bool decryptInPlace(unsigned char* text, std::size_t& size, const KeyMaterial& material) {
    const security::CipherContextPtr context(EVP_CIPHER_CTX_new());
    if (!context)
        throw std::bad_alloc();
    int plain = 0;
    int rest = 0;
    if (EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, material.key(),
                           material.vector()) != 1 ||
        EVP_DecryptUpdate(context.get(), text, &plain, text, static_cast<int>(size)) != 1 ||
        EVP_DecryptFinal_ex(context.get(), text + plain, &rest) != 1)
        return false;
    size = static_cast<std::size_t>(plain) + static_cast<std::size_t>(rest);
    return true;
}

} // namespace

struct Aes128CbcDecrypter::Impl {
    std::string keyFile; ///< the phone's path
    security::ExposedFiles exposed;
};

Aes128CbcDecrypter::Aes128CbcDecrypter(std::string keyFile) : impl_(std::make_unique<Impl>()) {
    impl_->keyFile = std::move(keyFile);
}

Aes128CbcDecrypter::~Aes128CbcDecrypter() = default;

std::string Aes128CbcDecrypter::decrypt(const std::string& path) {
    const security::OpenSslErrors errors;
    if (!mayBeEncrypted(path))
        failPlain(path);
    std::string text = filesystem::read(path, MAX_FILE_BYTES);
    if (!text.starts_with(MAGIC))
        failPlain(path);

    impl_->exposed.look(impl_->keyFile, posix::FileStamp::of(paths::toHost(impl_->keyFile)));
    const Secret keyFileContent = readKeyFile(impl_->keyFile, path);
    const std::string_view password = firstLine(keyFileContent.text());
    if (password.empty())
        fail(path, "no key: the first line of " + quote(impl_->keyFile) + " is empty");

    if (text.size() <= HEADER_BYTES || (text.size() - HEADER_BYTES) % BLOCK_BYTES != 0)
        failDamaged(path);
    auto* const bytes = reinterpret_cast<unsigned char*>(text.data());
    KeyMaterial material;
    derive(material, password, bytes + MAGIC.size());
    std::size_t size = text.size() - HEADER_BYTES;
    if (!decryptInPlace(bytes + HEADER_BYTES, size, material))
        failDamaged(path);
    text.resize(HEADER_BYTES + size);
    text.erase(0, HEADER_BYTES);
    return text;
}

} // namespace http
