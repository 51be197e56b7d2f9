// SPDX-License-Identifier: Apache-2.0
#include "SilentServer.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace {

bool isReadable(int socket, std::chrono::milliseconds timeout) {
    pollfd watched{socket, POLLIN, 0};
    return ::poll(&watched, 1, static_cast<int>(timeout.count())) == 1;
}

} // namespace

SilentServer::SilentServer() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 4) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("cannot listen on the loopback interface");
    port_ = ntohs(address.sin_port);
}

SilentServer::~SilentServer() {
    if (connection_ >= 0)
        ::close(connection_);
    ::close(listener_);
}

bool SilentServer::waitForRequest(std::chrono::milliseconds timeout) const {
    if (!isReadable(listener_, timeout))
        return false;
    connection_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    return connection_ >= 0 && isReadable(connection_, timeout);
}

bool SilentServer::wasReached() const {
    return isReadable(listener_, std::chrono::milliseconds(0));
}
