// SPDX-License-Identifier: Apache-2.0
#include "InputFile.h"

#include "ovoctl/Failure.h"
#include "posix/Descriptor.h"
#include "text/Quote.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace ovoctl {

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& cause) {
    throw Misuse("cannot read " + (path == "-" ? "the standard input" : quote(path)) + ": " +
                 cause);
}

std::string readAll(int descriptor, const std::string& path, std::size_t largest) {
    std::string content;
    std::array<char, 65536> piece{};
    for (;;) {
        const ssize_t size = ::read(descriptor, piece.data(), piece.size());
        if (size == 0)
            return content;
        if (size < 0 && errno != EINTR)
            fail(path, std::strerror(errno));
        if (size > 0)
            content.append(piece.data(), static_cast<std::size_t>(size));
        if (content.size() > largest)
            fail(path, "it has more than " + std::to_string(largest) + " bytes");
    }
}

} // namespace

std::string readInput(const std::string& path, std::size_t largest) {
    if (path == "-")
        return readAll(STDIN_FILENO, path, largest);
    const posix::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen())
        fail(path, std::strerror(errno));
    return readAll(file.get(), path, largest);
}

} // namespace ovoctl
