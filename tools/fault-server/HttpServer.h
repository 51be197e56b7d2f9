// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "RawServer.h"
#include "TlsWire.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

/// A web server on the loopback interface that answers as its owner wants it to, wrongly too.
/// Blocking, a thread a connection; all are joined when the object goes.
class HttpServer {
public:
    struct Request {
        int connection = 0; ///< 1 for the first one, and so on
        std::string method;
        std::string target;
        std::map<std::string, std::string> headers; ///< names in lower case

        /// Value of a header; empty when it was not sent.
        std::string header(const std::string& lowerCaseName) const;
    };

    /// A request and the way back. On the connection's thread.
    class Exchange {
    public:
        virtual ~Exchange() = default;
        virtual const Request& request() const = 0;
        /// False when the client has gone.
        virtual bool send(const std::string& bytes) = 0;
        /// Says nothing more until the client has gone or the server ends.
        virtual void stall() = 0;
        /// From now on the end of the connection is a reset.
        virtual void endByReset() = 0;
        /// Waits; false as soon as the client has gone or the server ends.
        virtual bool pause(std::chrono::milliseconds time) = 0;
    };

    enum class Then { Keep, Close };
    using Handler = std::function<Then(Exchange&)>;

    /// port: 0 for a free one. tls: it speaks HTTPS. Throws std::system_error.
    explicit HttpServer(Handler handler, std::uint16_t port = 0,
                        std::optional<TlsWire::Settings> tls = std::nullopt);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::uint16_t port() const;
    std::string url(const std::string& target) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
