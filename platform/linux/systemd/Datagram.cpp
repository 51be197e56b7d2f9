// SPDX-License-Identifier: Apache-2.0
#include "Datagram.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace systemd {

namespace {

constexpr timeval PATIENCE{0, 500'000};

std::error_code lastError() {
    return {errno, std::generic_category()};
}

std::error_code sendThrough(int descriptor, std::string_view socket,
                            std::string_view content) noexcept {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socket.size() < 2 || (socket.front() != '/' && socket.front() != '@'))
        return std::make_error_code(std::errc::invalid_argument);
    if (socket.size() >= sizeof address.sun_path)
        return std::make_error_code(std::errc::filename_too_long);
    std::copy(socket.begin(), socket.end(), address.sun_path);
    std::size_t nameSize = socket.size() + 1;
    if (socket.front() == '@') {
        address.sun_path[0] = '\0';
        nameSize = socket.size(); // an abstract name ends with its last character
    }
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + nameSize);
    ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &PATIENCE, sizeof PATIENCE);
    const ssize_t sent = ::sendto(descriptor, content.data(), content.size(), MSG_NOSIGNAL,
                                  reinterpret_cast<const sockaddr*>(&address), size);
    return sent < 0 ? lastError() : std::error_code();
}

} // namespace

std::error_code sendDatagram(std::string_view socket, std::string_view content) noexcept {
    const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return lastError();
    const std::error_code error = sendThrough(descriptor, socket, content);
    ::close(descriptor);
    return error;
}

} // namespace systemd
