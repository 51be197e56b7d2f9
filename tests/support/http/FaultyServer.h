// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fault-server/HttpServer.h"

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

/// A web server that answers as the test wants it to and keeps the requests.
class FaultyServer {
public:
    using Request = HttpServer::Request;
    using Exchange = HttpServer::Exchange;
    using Then = HttpServer::Then;
    using Handler = HttpServer::Handler;

    explicit FaultyServer(Handler handler);

    std::uint16_t port() const { return server_.port(); }
    std::string url(const std::string& target) const { return server_.url(target); }
    /// Those that came in whole so far, in order.
    std::vector<Request> requests() const;
    /// Waits until so many requests have come in.
    bool waitForRequests(std::size_t count) const;

private:
    Then keepAndAnswer(Exchange& exchange);

    const Handler handler_;
    mutable std::mutex mutex_; ///< guards the requests
    std::vector<Request> requests_;
    HttpServer server_; ///< the first to go
};

/// Text of an answer. headers: further lines, each ended by "\r\n". The body's length is told.
std::string answer(int status, const std::string& body = {}, const std::string& headers = {});
