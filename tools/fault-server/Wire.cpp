// SPDX-License-Identifier: Apache-2.0
#include "Wire.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace {

int connectTo(std::uint16_t port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return socket;
    ::close(socket);
    return -1;
}

} // namespace

std::string Wire::receiveUntil(const std::string& end, std::string text) {
    constexpr std::size_t LARGEST = 1 << 20;
    while (text.find(end) == std::string::npos) {
        const std::string piece = receive();
        if (piece.empty() || text.size() > LARGEST)
            return {};
        text += piece;
    }
    return text;
}

void Wire::endByReset() const {
    const linger atOnce{1, 0};
    ::setsockopt(socket(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

bool Wire::pause(std::chrono::milliseconds time) const {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + time;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0)
            return true;
        pollfd watched{socket(), POLLRDHUP, 0};
        if (::poll(&watched, 1, static_cast<int>(std::min<std::int64_t>(left.count(), 1'000'000))) >
            0)
            return false;
    }
}

bool SocketWire::send(const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t now = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (now <= 0)
            return false;
        sent += static_cast<std::size_t>(now);
    }
    return true;
}

std::string SocketWire::receive() {
    std::array<char, 4096> piece{};
    const ssize_t size = ::recv(socket_, piece.data(), piece.size(), 0);
    return size > 0 ? std::string(piece.data(), static_cast<std::size_t>(size)) : std::string();
}

ClientWire::ClientWire(std::uint16_t port) : SocketWire(connectTo(port)) {}

ClientWire::~ClientWire() {
    if (socket() >= 0)
        ::close(socket());
}

namespace {

/// Passes on what there is now; false when one of the two has gone.
bool passOn(Wire& from, Wire& to) {
    const std::string piece = from.receive();
    return !piece.empty() && to.send(piece);
}

} // namespace

void relay(Wire& one, Wire& other) {
    bool isOn = true;
    while (isOn) {
        std::array<pollfd, 2> ends{pollfd{one.socket(), POLLIN, 0},
                                   pollfd{other.socket(), POLLIN, 0}};
        if (!one.hasMore() && !other.hasMore() && ::poll(ends.data(), ends.size(), -1) < 0)
            return;
        if (one.hasMore() || ends[0].revents != 0)
            isOn = passOn(one, other);
        if (isOn && (other.hasMore() || ends[1].revents != 0))
            isOn = passOn(other, one);
    }
}
