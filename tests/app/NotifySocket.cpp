// SPDX-License-Identifier: Apache-2.0
#include "NotifySocket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>

NotifySocket::NotifySocket(std::chrono::microseconds watchdog, Name name)
    : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    const std::string path = directory_.path() + "/notify";
    const bool isAbstract = name == Name::ABSTRACT;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw std::runtime_error("path of the notification socket is too long");
    // An abstract name begins with a zero byte and ends with the address.
    path.copy(address.sun_path + (isAbstract ? 1 : 0), path.size());
    const std::size_t size = offsetof(sockaddr_un, sun_path) + path.size() + 1;
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address),
               static_cast<socklen_t>(size)) != 0)
        throw std::runtime_error("cannot bind " + path);
    ::setenv("NOTIFY_SOCKET", (isAbstract ? "@" + path : path).c_str(), 1);
    if (watchdog.count() > 0)
        ::setenv("WATCHDOG_USEC", std::to_string(watchdog.count()).c_str(), 1);
}

NotifySocket::~NotifySocket() {
    ::unsetenv("NOTIFY_SOCKET");
    ::unsetenv("WATCHDOG_USEC");
    ::close(socket_);
}

std::optional<std::string> NotifySocket::next(std::chrono::milliseconds timeout) const {
    pollfd watched{socket_, POLLIN, 0};
    if (::poll(&watched, 1, static_cast<int>(timeout.count())) != 1)
        return std::nullopt;
    std::array<char, 256> buffer{};
    const ssize_t size = ::recv(socket_, buffer.data(), buffer.size(), 0);
    return std::string(buffer.data(), static_cast<std::size_t>(size < 0 ? 0 : size));
}
