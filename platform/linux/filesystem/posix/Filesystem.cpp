// SPDX-License-Identifier: Apache-2.0
#include "filesystem/Filesystem.h"

#include "AtomicFile.h"
#include "Directory.h"
#include "paths/Paths.h"
#include "posix/Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <system_error>

namespace filesystem {

namespace {

std::string operationOn(const char* operation, const std::string& path) {
    return std::string(operation) + " \"" + path + "\"";
}

[[noreturn]] void fail(const char* operation, const std::string& path, int cause) {
    throw std::system_error(cause, std::generic_category(), operationOn(operation, path));
}

[[noreturn]] void refuse(const char* operation, const std::string& path, const std::string& why) {
    throw std::runtime_error(operationOn(operation, path) + ": " + why);
}

constexpr const char* READING = "Reading";
constexpr const char* MAKING = "Making the directory";

[[noreturn]] void refuseSize(const std::string& path, unsigned long long maxBytes) {
    refuse(READING, path, "it is larger than " + std::to_string(maxBytes) + " bytes");
}

/// Size of an open file, which must be a regular one.
std::uint64_t sizeOf(const posix::Descriptor& file, const std::string& path) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0)
        fail(READING, path, errno);
    if (!S_ISREG(status.st_mode))
        refuse(READING, path, "it is not a regular file");
    return static_cast<std::uint64_t>(status.st_size);
}

/// Reads up to the end or until the buffer is full; the bytes read.
std::size_t readInto(char* buffer, std::size_t size, const posix::Descriptor& file,
                     const std::string& path) {
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t count = ::read(file.get(), buffer + filled, size - filled);
        if (count == 0)
            break;
        if (count > 0)
            filled += static_cast<std::size_t>(count);
        else if (errno != EINTR)
            fail(READING, path, errno);
    }
    return filled;
}

} // namespace

std::string read(const std::string& path, unsigned long long maxBytes) {
    // Non-blocking: opening a FIFO without a writer would wait for one.
    const posix::Descriptor file(
        ::open(paths::toHost(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen())
        fail(READING, path, errno);
    const std::uint64_t size = sizeOf(file, path);
    if (size > maxBytes)
        refuseSize(path, maxBytes);

    // Reading one byte more than the size finds the end. Files of the kernel report the size 0.
    constexpr std::size_t STEP = 4096;
    std::string content;
    std::size_t filled = 0;
    std::size_t room = static_cast<std::size_t>(size) + 1;
    do {
        content.resize(filled + room);
        filled += readInto(content.data() + filled, room, file, path);
        if (filled > maxBytes)
            refuseSize(path, maxBytes);
        room = std::max(filled, STEP);
    } while (filled == content.size());
    content.resize(filled);
    return content;
}

void write(const std::string& path, const std::string& content, unsigned int mode) {
    AtomicFile file(path, {.mode = mode});
    file.append(content.data(), content.size());
    file.commit();
}

bool doesDirectoryExist(const std::string& path) {
    return Directory(path, Directory::Use::Search).isOpen();
}

void makeDirectory(const std::string& path, unsigned int mode) {
    const Directory directory(path, Directory::Use::Search, mode);
    if (!directory.isOpen())
        directory.fail(operationOn(MAKING, path));
}

} // namespace filesystem
