#include "AtomicFile.h"

#include "Root.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/random.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <system_error>

namespace filesystem {

namespace {

/// A name of fixed length, so that a file name of the greatest length allowed has one too.
std::string randomName() {
    std::uint64_t number = 0;
    while (::getrandom(&number, sizeof number, 0) != sizeof number) {
        if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "Random number");
    }
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string name = ".tmp-";
    for (unsigned int digit = 0; digit < 16; ++digit, number >>= 4U)
        name += DIGITS[number & 0xfU];
    return name;
}

} // namespace

AtomicFile::AtomicFile(const std::string& phonePath, unsigned int mode) : path_(phonePath) {
    const std::string hostPath = root::toHost(phonePath);
    const std::size_t slash = hostPath.rfind('/');
    name_ = hostPath.substr(slash + 1);
    if (name_.empty())
        fail(EISDIR);
    const std::string directory = slash == 0 ? "/" : hostPath.substr(0, slash);
    directory_.reset(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory_.isOpen())
        fail(errno);
    openTemporary(mode);
}

AtomicFile::~AtomicFile() {
    discard();
}

void AtomicFile::openTemporary(unsigned int mode) {
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    constexpr int TRIES = 16;
    for (int attempt = 0; attempt < TRIES; ++attempt) {
        std::string name = randomName();
        const int file = ::openat(directory_.get(), name.c_str(), FLAGS, static_cast<mode_t>(mode));
        if (file >= 0) {
            file_.reset(file);
            temporary_ = std::move(name);
            return;
        }
        if (errno != EEXIST && errno != EINTR)
            break;
    }
    fail(errno);
}

void AtomicFile::append(const char* data, std::size_t size) {
    requireOpen();
    while (size > 0) {
        const ssize_t written = ::write(file_.get(), data, size);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            fail(errno);
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

void AtomicFile::commit() {
    requireOpen();
    if (::fsync(file_.get()) != 0)
        fail(errno);
    // Network file systems report a failed write at the latest here.
    if (file_.close() != 0 && errno != EINTR)
        fail(errno);
    if (::renameat(directory_.get(), temporary_.c_str(), directory_.get(), name_.c_str()) != 0)
        fail(errno);
    temporary_.clear();
    if (::fsync(directory_.get()) != 0)
        fail(errno);
}

void AtomicFile::discard() noexcept {
    file_.close();
    if (!temporary_.empty())
        ::unlinkat(directory_.get(), temporary_.c_str(), 0);
    temporary_.clear();
}

void AtomicFile::requireOpen() const {
    if (!file_.isOpen())
        throw std::runtime_error("Writing \"" + path_ + "\": the file was closed before");
}

void AtomicFile::fail(int cause) {
    discard();
    throw std::system_error(cause, std::generic_category(), "Writing \"" + path_ + "\"");
}

} // namespace filesystem
