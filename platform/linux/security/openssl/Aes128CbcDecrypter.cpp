// SPDX-License-Identifier: Apache-2.0
#include "http/Aes128CbcDecrypter.h"

#include "ExposedFiles.h"
#include "SaltedText.h"
#include "filesystem/Filesystem.h"
#include "http/Secret.h"
#include "paths/Paths.h"
#include "posix/Descriptor.h"
#include "text/Quote.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string_view>

namespace http {

namespace {

namespace salted = security::salted;

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
    std::array<char, salted::MAGIC.size()> begin{};
    const ssize_t size = file.isOpen() ? ::pread(file.get(), begin.data(), begin.size(), 0) : -1;
    return size < 0 ||
           std::string_view(begin.data(), static_cast<std::size_t>(size)) == salted::MAGIC;
}

/// Made in place in the caller, which wipes it, so that no copy is left.
std::string readKeyFile(const std::string& keyFile, const std::string& path) {
    try {
        return filesystem::read(keyFile, salted::MAX_KEY_FILE_BYTES);
    } catch (const std::exception& exception) {
        fail(path, std::string("no key: ") + exception.what());
    }
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
    if (!mayBeEncrypted(path))
        failPlain(path);
    std::string text = filesystem::read(path, salted::MAX_BYTES);
    if (!text.starts_with(salted::MAGIC))
        failPlain(path);

    impl_->exposed.look(impl_->keyFile, posix::FileStamp::of(paths::toHost(impl_->keyFile)));
    const Secret keyFileContent = readKeyFile(impl_->keyFile, path);
    const std::string_view password = salted::passwordOf(keyFileContent.text());
    if (password.empty())
        fail(path, "no key: the first line of " + quote(impl_->keyFile) + " is empty");

    if (!salted::decryptInPlace(text, password))
        failDamaged(path);
    return text;
}

} // namespace http
