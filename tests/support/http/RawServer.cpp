// SPDX-License-Identifier: Apache-2.0
#include "RawServer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// A listening socket on a free port.
int listenOn(std::uint16_t& port, int queue) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener, generic, size) != 0 || ::listen(listener, queue) != 0 ||
        ::getsockname(listener, generic, &size) != 0)
        throw std::runtime_error("cannot listen");
    port = ntohs(address.sin_port);
    return listener;
}

} // namespace

struct RawServer::Impl {
    Handler handler;
    std::uint16_t port = 0;
    int listener = -1;
    std::mutex mutex; ///< guards what follows
    bool ending = false;
    std::set<int> sockets;
    std::vector<std::thread> connections;
    std::thread acceptor;

    void accept() {
        for (int number = 1;; ++number) {
            const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            const std::lock_guard lock(mutex);
            if (ending || socket < 0) {
                if (socket >= 0)
                    ::close(socket);
                return;
            }
            sockets.insert(socket);
            connections.emplace_back([this, socket, number] { serve(socket, number); });
        }
    }

    void serve(int socket, int number) {
        // For libraries that write without saying that they want none.
        sigset_t pipe;
        ::sigemptyset(&pipe);
        ::sigaddset(&pipe, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        SocketWire wire(socket);
        handler(wire, number);
        const std::lock_guard lock(mutex);
        sockets.erase(socket);
        ::close(socket);
    }

    void end() {
        {
            const std::lock_guard lock(mutex);
            ending = true;
            for (const int socket : sockets)
                ::shutdown(socket, SHUT_RDWR);
        }
        ::shutdown(listener, SHUT_RDWR);
        acceptor.join();
        for (std::thread& connection : connections)
            connection.join();
        ::close(listener);
    }
};

RawServer::RawServer(Handler handler) : impl_(std::make_unique<Impl>()) {
    impl_->handler = std::move(handler);
    impl_->listener = listenOn(impl_->port, 16);
    impl_->acceptor = std::thread([this] { impl_->accept(); });
}

RawServer::~RawServer() {
    impl_->end();
}

std::uint16_t RawServer::port() const {
    return impl_->port;
}

std::string RawServer::url(const std::string& scheme, const std::string& target) const {
    return scheme + "://127.0.0.1:" + std::to_string(impl_->port) + target;
}

FullPort::FullPort() : listener_(listenOn(port_, 0)) {
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
