// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "HttpServer.h"

#include <string>

/// The server's half of Digest authentication, with one nonce and quality "auth".
class ServerDigest {
public:
    ServerDigest(std::string user, std::string password);

    /// Header line of a 401 answer.
    std::string challenge(bool stale = false) const;
    /// True when the request proves that the client knows user and password.
    bool accepts(const HttpServer::Request& request) const;

private:
    std::string user_;
    std::string password_;
};
