// SPDX-License-Identifier: Apache-2.0
#include "RawServer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace {

/// A listening socket. port: 0 for a free one, and set to the one that it has.
int listenOn(std::uint16_t& port) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int again = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &again, sizeof again);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener, generic, size) != 0 || ::listen(listener, 16) != 0 ||
        ::getsockname(listener, generic, &size) != 0) {
        const int error = errno;
        ::close(listener);
        throw std::system_error(error, std::generic_category(),
                                "cannot listen on 127.0.0.1:" + std::to_string(port));
    }
    port = ntohs(address.sin_port);
    return listener;
}

/// More at a time are closed at once.
constexpr std::size_t MOST_CONNECTIONS = 200;

} // namespace

struct RawServer::Impl {
    struct Connection {
        int socket; ///< negative when the handler has returned
        std::thread thread;
    };

    Handler handler;
    std::uint16_t port = 0;
    int listener = -1;
    std::mutex mutex; ///< guards what follows
    bool ending = false;
    std::list<Connection> connections;
    std::thread acceptor;

    void accept() {
        for (int number = 1;; ++number) {
            const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            const int error = errno;
            joinEnded();
            const std::lock_guard lock(mutex);
            if (ending || socket < 0 || connections.size() >= MOST_CONNECTIONS) {
                if (socket >= 0)
                    ::close(socket);
                if (ending || (socket < 0 && error != ECONNABORTED && error != EINTR))
                    return;
                continue;
            }
            Connection& connection = connections.emplace_back(Connection{socket, {}});
            connection.thread = std::thread(
                [this, &connection, socket, number] { serve(connection, socket, number); });
        }
    }

    /// Connections whose handler has returned. Their threads only have to release the lock.
    void joinEnded() {
        std::list<Connection> ended;
        {
            const std::lock_guard lock(mutex);
            for (auto at = connections.begin(); at != connections.end();) {
                const auto next = std::next(at);
                if (at->socket < 0)
                    ended.splice(ended.end(), connections, at);
                at = next;
            }
        }
        for (Connection& connection : ended)
            connection.thread.join();
    }

    void serve(Connection& connection, int socket, int number) {
        // For libraries that write without saying that they want none.
        sigset_t pipe;
        ::sigemptyset(&pipe);
        ::sigaddset(&pipe, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        SocketWire wire(socket);
        handler(wire, number);
        const std::lock_guard lock(mutex);
        connection.socket = -1;
        ::close(socket);
    }

    void end() {
        {
            const std::lock_guard lock(mutex);
            ending = true;
            for (const Connection& connection : connections) {
                if (connection.socket >= 0)
                    ::shutdown(connection.socket, SHUT_RDWR);
            }
        }
        ::shutdown(listener, SHUT_RDWR);
        acceptor.join();
        for (Connection& connection : connections)
            connection.thread.join();
        ::close(listener);
    }
};

RawServer::RawServer(Handler handler, std::uint16_t port) : impl_(std::make_unique<Impl>()) {
    impl_->handler = std::move(handler);
    impl_->port = port;
    impl_->listener = listenOn(impl_->port);
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
