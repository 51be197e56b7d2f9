// SPDX-License-Identifier: Apache-2.0
#include "FaultyServer.h"

#include "support/process/WaitUntil.h"

#include <cctype>
#include <mutex>
#include <sstream>
#include <utility>

namespace {

using Request = FaultyServer::Request;

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
    Connection(Wire& wire, int number) : wire_(wire), number_(number) {}

    const Request& request() const override { return request_; }

    bool send(const std::string& bytes) override { return wire_.send(bytes); }

    void stall() override {
        while (!wire_.receive().empty()) {
        }
    }

    /// False when the client has gone.
    bool readRequest() {
        constexpr const char* END = "\r\n\r\n";
        input_ = wire_.receiveUntil(END, std::move(input_));
        if (input_.empty())
            return false;
        const auto end = input_.find(END) + 4;
        request_ = parse(input_.substr(0, end), number_);
        input_.erase(0, end);
        return true;
    }

private:
    Wire& wire_;
    int number_;
    std::string input_;
    Request request_;
};

} // namespace

struct FaultyServer::Impl {
    explicit Impl(Handler toCall) : handler(std::move(toCall)) {}

    void serve(Wire& wire, int number) {
        Connection connection(wire, number);
        while (connection.readRequest()) {
            {
                const std::lock_guard lock(mutex);
                requests.push_back(connection.request());
            }
            if (handler(connection) == Then::Close)
                break;
        }
    }

    Handler handler;
    mutable std::mutex mutex; ///< guards the requests
    std::vector<Request> requests;
    RawServer server{[this](Wire& wire, int number) {
        serve(wire, number);
    }}; ///< the first to go
};

std::string FaultyServer::Request::header(const std::string& lowerCaseName) const {
    const auto found = headers.find(lowerCaseName);
    return found == headers.end() ? std::string() : found->second;
}

FaultyServer::FaultyServer(Handler handler) : impl_(std::make_unique<Impl>(std::move(handler))) {}

FaultyServer::~FaultyServer() = default;

std::uint16_t FaultyServer::port() const {
    return impl_->server.port();
}

std::string FaultyServer::url(const std::string& target) const {
    return impl_->server.url("http", target);
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
