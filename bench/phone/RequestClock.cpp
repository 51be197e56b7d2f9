// SPDX-License-Identifier: Apache-2.0
#include "RequestClock.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string_view>

namespace bench {

RequestClock::RequestClock(const std::string& file)
    : response_("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(file.size()) + "\r\n\r\n" +
                file)
    , listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 16) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("cannot listen on the loopback interface");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

RequestClock::~RequestClock() {
    ::shutdown(listener_, SHUT_RDWR); // ends serve()
    thread_.join();
    for (const int connection : connections_)
        ::close(connection);
    ::close(listener_);
}

void RequestClock::serve() {
    for (;;) {
        std::vector<pollfd> sockets{{listener_, POLLIN, 0}};
        for (const int connection : connections_)
            sockets.push_back({connection, POLLIN, 0});
        if (::poll(sockets.data(), sockets.size(), -1) < 0)
            continue;
        if ((sockets[0].revents & POLLHUP) != 0)
            return;
        serveConnections(sockets);
        if (sockets[0].revents != 0)
            takeConnection();
    }
}

void RequestClock::serveConnections(const std::vector<pollfd>& sockets) {
    connections_.clear();
    for (std::size_t index = 1; index < sockets.size(); ++index) {
        if (sockets[index].revents == 0 || answer(sockets[index].fd))
            connections_.push_back(sockets[index].fd);
        else
            ::close(sockets[index].fd);
    }
}

void RequestClock::takeConnection() {
    const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const int on = 1;
    ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connection >= 0)
        connections_.push_back(connection);
}

bool RequestClock::answer(int connection) {
    const auto arrival = std::chrono::steady_clock::now().time_since_epoch().count();
    std::array<char, 16384> request{};
    // A client sends such a small request in one piece.
    const ssize_t size = ::recv(connection, request.data(), request.size(), 0);
    if (size <= 0)
        return false;
    last_ = arrival;
    return ::send(connection, response_.data(), response_.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(response_.size());
}

} // namespace bench
