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

/// A request that came to no good end.
struct FailedRequest {
    CURL* easy;
    CURLcode code;
    const Route& route;
    const TlsWatch& tls;
    bool sent;     ///< the way to the server stood, and the request went off
    bool answered; ///< the answer began
};

/// Why it failed, as one clause for people that names who failed: the server, or the proxy. No
/// numbers of the library.
std::string describeFailure(const FailedRequest& request);

/// Why an answer with status 407 is a failure.
std::string describeProxyAuthentication(const Route& route);

} // namespace http
