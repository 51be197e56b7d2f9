// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Proxy.h"
#include "TlsWatch.h"

#include <curl/curl.h>

#include <optional>
#include <string>

namespace http {

/// How a request reaches its server.
struct Route {
    bool encrypted = false; ///< the connection to the server
    std::optional<Proxy> proxy;
    bool offersClientCertificate = false; ///< to the server; never to a proxy
};

/// A failed request.
struct FailedRequest {
    CURL* easy;
    CURLcode code;
    const Route& route;
    const TlsWatch& tls;
    bool sent;     ///< the connection to the server was complete, and the request was sent over it
    bool answered; ///< the answer began
};

/// Why it failed: one clause for people that names the peer that failed (the server or the proxy),
/// without the library's numbers.
std::string describeFailure(const FailedRequest& request);

/// Why an answer with status 407 is a failure.
std::string describeProxyAuthentication(const Route& route);

} // namespace http
