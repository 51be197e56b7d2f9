// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "RawServer.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// A web server on the loopback interface that answers as the test wants it to, wrongly too.
/// Blocking, a thread a connection; all are joined when the object goes.
class FaultyServer {
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
    };

    enum class Then { Keep, Close };
    using Handler = std::function<Then(Exchange&)>;

    explicit FaultyServer(Handler handler);
    ~FaultyServer();
    FaultyServer(const FaultyServer&) = delete;
    FaultyServer& operator=(const FaultyServer&) = delete;

    std::uint16_t port() const;
    std::string url(const std::string& target) const;
    /// Those that came in whole so far, in order.
    std::vector<Request> requests() const;
    /// Waits until so many requests have come in.
    bool waitForRequests(std::size_t count) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// Text of an answer. headers: further lines, each ended by "\r\n". The body's length is told.
std::string answer(int status, const std::string& body = {}, const std::string& headers = {});
