// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/UrlInfo.h"

#include <optional>
#include <string>

namespace http {

/// The proxy that the environment names for a request. The rules are libcurl's own. They are
/// applied here because libcurl does not tell which proxy it chose, which a message about a failure
/// needs.
struct Proxy {
    enum class Kind { Http, Https, Socks };

    std::string url;  ///< as libcurl takes it, with its credentials
    std::string name; ///< host and port, for people
    Kind kind = Kind::Http;
    bool hasCredentials = false;

    /// "http_proxy", "https_proxy" or "HTTPS_PROXY", otherwise "all_proxy" or "ALL_PROXY"; nothing
    /// where none of them is set, and for hosts in the list of "no_proxy" or "NO_PROXY". Throws
    /// std::runtime_error with one clause when the variable does not name a proxy.
    static std::optional<Proxy> of(const UrlInfo& url);
};

} // namespace http
