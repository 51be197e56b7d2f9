// SPDX-License-Identifier: Apache-2.0
#include "InputFile.h"

#include "ovoctl/Failure.h"
#include "posix/Descriptor.h"
#include "text/Quote.h"
#include "xml/Xml.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace ovoctl {

namespace {

/// Reads to the end, or until it has more than that many bytes. Throws std::system_error.
std::string readPast(std::size_t limit, int descriptor) {
    std::string content;
    std::array<char, 65536> piece{};
    while (content.size() <= limit) {
        const ssize_t size = ::read(descriptor, piece.data(), piece.size());
        if (size == 0)
            break;
        if (size < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category());
        if (size > 0)
            content.append(piece.data(), static_cast<std::size_t>(size));
    }
    return content;
}

std::string readPast(std::size_t limit, const std::string& path) {
    const posix::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen())
        throw std::system_error(errno, std::generic_category());
    return readPast(limit, file.get());
}

} // namespace

std::string readInput(const std::string& path, std::size_t largest) {
    const bool isStandard = path == "-";
    const auto fail = [&](const std::string& cause) {
        throw Misuse("cannot read " + (isStandard ? "the standard input" : quote(path)) + ": " +
                     cause);
    };
    std::string content;
    try {
        content = isStandard ? readPast(largest, STDIN_FILENO) : readPast(largest, path);
    } catch (const std::system_error& error) {
        fail(error.code().message());
    }
    if (content.size() > largest)
        fail("it has more than " + std::to_string(largest) + " bytes");
    return content;
}

std::string readProvisioningFile(const std::string& path) {
    /// For what encryption adds.
    constexpr std::size_t LITTLE = std::size_t{64} << 10U;
    try {
        return readPast(common::xml::MAX_BYTES + LITTLE, path);
    } catch (const std::system_error& error) {
        throw Unaskable("the file " + quote(path) + " cannot be read: " + error.code().message());
    }
}

} // namespace ovoctl
