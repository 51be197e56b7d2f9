#include "FaultyServer.h"

#include "WaitUntil.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <mutex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

using Request = FaultyServer::Request;

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

std::string lowerCase(std::string text) {
    for (char& letter : text)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return text;
}

Request parse(const std::string& header, int connection) {
    Request request;
    request.connection = connection;
    std::istringstream lines(header);
    lines >> request.method >> request.target;
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && line != "\r") {
        const auto colon = line.find(": ");
        if (colon != std::string::npos)
            request.headers[lowerCase(line.substr(0, colon))] =
                line.substr(colon + 2, line.size() - colon - 3);
    }
    return request;
}

class Connection : public FaultyServer::Exchange {
public:
    Connection(int socket, int number) : socket_(socket), number_(number) {}

    const Request& request() const override { return request_; }

    bool send(const std::string& bytes) override {
        for (std::size_t sent = 0; sent < bytes.size();) {
            const ssize_t now =
                ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (now <= 0)
                return false;
            sent += static_cast<std::size_t>(now);
        }
        return true;
    }

    void stall() override {
        char dropped[256];
        while (::recv(socket_, dropped, sizeof dropped, 0) > 0) {
        }
    }

    /// False when the client has gone.
    bool readRequest() {
        constexpr const char* END = "\r\n\r\n";
        char piece[4096];
        while (input_.find(END) == std::string::npos) {
            const ssize_t size = ::recv(socket_, piece, sizeof piece, 0);
            if (size <= 0)
                return false;
            input_.append(piece, static_cast<std::size_t>(size));
        }
        const auto end = input_.find(END) + 4;
        request_ = parse(input_.substr(0, end), number_);
        input_.erase(0, end);
        return true;
    }

private:
    int socket_;
    int number_;
    std::string input_;
    Request request_;
};

} // namespace

struct FaultyServer::Impl {
    Handler handler;
    std::uint16_t port = 0;
    int listener = -1;
    mutable std::mutex mutex; ///< guards what follows
    bool ending = false;
    std::set<int> sockets;
    std::vector<std::thread> connections;
    std::vector<Request> requests;
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
        Connection connection(socket, number);
        while (connection.readRequest()) {
            {
                const std::lock_guard lock(mutex);
                requests.push_back(connection.request());
            }
            if (handler(connection) == Then::Close)
                break;
        }
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

std::string FaultyServer::Request::header(const std::string& lowerCaseName) const {
    const auto found = headers.find(lowerCaseName);
    return found == headers.end() ? std::string() : found->second;
}

FaultyServer::FaultyServer(Handler handler) : impl_(std::make_unique<Impl>()) {
    impl_->handler = std::move(handler);
    impl_->listener = listenOn(impl_->port, 16);
    impl_->acceptor = std::thread([this] { impl_->accept(); });
}

FaultyServer::~FaultyServer() {
    impl_->end();
}

std::uint16_t FaultyServer::port() const {
    return impl_->port;
}

std::string FaultyServer::url(const std::string& target) const {
    return "http://127.0.0.1:" + std::to_string(impl_->port) + target;
}

std::vector<FaultyServer::Request> FaultyServer::requests() const {
    const std::lock_guard lock(impl_->mutex);
    return impl_->requests;
}

bool FaultyServer::waitForRequests(std::size_t count) const {
    return waitUntil([&] { return requests().size() >= count; });
}

std::string answer(int status, const std::string& body, const std::string& headers) {
    return "HTTP/1.1 " + std::to_string(status) + " Test\r\n" + headers +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
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
