// SPDX-License-Identifier: Apache-2.0
#include "FullPort.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

} // namespace

FullPort::FullPort() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in own = loopback(0);
    socklen_t size = sizeof own;
    auto* generic = reinterpret_cast<sockaddr*>(&own);
    if (::bind(listener_, generic, size) != 0 || ::listen(listener_, 0) != 0 ||
        ::getsockname(listener_, generic, &size) != 0)
        throw std::runtime_error("cannot listen");
    port_ = ntohs(own.sin_port);
    // The kernel queues one or two and drops the rest; further ones do no harm.
    for (int count = 0; count < 4; ++count) {
        const int client = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        const sockaddr_in address = loopback(port_);
        // Not blocking: it has not connected yet, or never will.
        static_cast<void>(
            ::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        waiting_.push_back(client);
    }
}

FullPort::~FullPort() {
    for (const int client : waiting_)
        ::close(client);
    ::close(listener_);
}
