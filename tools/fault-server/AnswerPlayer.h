// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Answer.h"
#include "HttpServer.h"

#include <string>

namespace faults {

/// One answer to one request.
class AnswerPlayer {
public:
    AnswerPlayer(const Answer& answer, HttpServer::Exchange& exchange);

    /// What will be said, for the log: the status code, "-" for none, and what is wrong.
    std::string description() const;
    /// Says it. On the connection's thread; takes as long as the answer wants.
    HttpServer::Then play();

private:
    int status() const;
    bool saysNothing() const { return answer_.end && !answer_.end->after; }
    bool isRedirect() const;
    std::uint64_t redirectsLeft() const;
    std::string location() const;
    std::string body() const;
    std::string head(const std::string& body) const;
    std::string challenges() const;
    HttpServer::Then breakOff();
    HttpServer::Then sendEndlessHeaders();
    bool sendBody(const std::string& body);

    const Answer& answer_;
    HttpServer::Exchange& exchange_;
    const bool isRefused_; ///< 401
};

} // namespace faults
