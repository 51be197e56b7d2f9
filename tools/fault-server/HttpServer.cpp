// SPDX-License-Identifier: Apache-2.0
#include "HttpServer.h"

#include <cctype>
#include <sstream>
#include <utility>

namespace {

using Request = HttpServer::Request;

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

class Connection : public HttpServer::Exchange {
public:
    Connection(Wire& wire, int number) : wire_(wire), number_(number) {}

    const Request& request() const override { return request_; }

    bool send(const std::string& bytes) override { return wire_.send(bytes); }

    void stall() override {
        while (!wire_.receive().empty()) {
        }
    }

    void endByReset() override { wire_.endByReset(); }

    bool pause(std::chrono::milliseconds time) override { return wire_.pause(time); }

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

struct HttpServer::Impl {
    Impl(Handler toCall, std::uint16_t port, std::optional<TlsWire::Settings> settings)
        : handler(std::move(toCall))
        , tls(std::move(settings))
        , server([this](Wire& wire, int number) { accept(wire, number); }, port) {}

    void accept(Wire& wire, int number) {
        if (!tls) {
            serve(wire, number);
            return;
        }
        TlsWire secured(wire, *tls);
        if (secured.shakeHands())
            serve(secured, number);
    }

    void serve(Wire& wire, int number) {
        Connection connection(wire, number);
        while (connection.readRequest()) {
            if (handler(connection) == Then::Close)
                break;
        }
    }

    Handler handler;
    std::optional<TlsWire::Settings> tls;
    RawServer server; ///< the first to go
};

std::string HttpServer::Request::header(const std::string& lowerCaseName) const {
    const auto found = headers.find(lowerCaseName);
    return found == headers.end() ? std::string() : found->second;
}

HttpServer::HttpServer(Handler handler, std::uint16_t port, std::optional<TlsWire::Settings> tls)
    : impl_(std::make_unique<Impl>(std::move(handler), port, std::move(tls))) {}

HttpServer::~HttpServer() = default;

std::uint16_t HttpServer::port() const {
    return impl_->server.port();
}

std::string HttpServer::url(const std::string& target) const {
    return impl_->server.url(impl_->tls ? "https" : "http", target);
}
