// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/ISecurity.h"
#include "http/Secret.h"
#include "http/UrlInfo.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>

namespace http {

/// How credentials are presented to a server.
enum class AuthScheme { None, Basic, Digest };

/// One GET request; redirects are not followed. The callbacks run on the requesting thread; their
/// exceptions end the request and are handed out with the response.
struct HttpRequest {
    UrlInfo url; ///< credentials in it are not used
    AuthScheme auth = AuthScheme::None;
    std::string user;
    Secret password;
    std::string caBundlePath; ///< trusted certificates, the phone's path
    std::optional<ClientIdentity> clientIdentity;
    std::chrono::milliseconds connectTimeout{10000};
    /// Below 100 bytes/s for this long, the wait for the first byte included.
    std::chrono::seconds stallTimeout{30};
    /// Called before the body of a response with status 200 with its length where that was
    /// announced (never for a compressed one, whose length says nothing). May be empty.
    std::function<void(std::uint64_t length)> onLength;
    /// Takes the body piece by piece, after decompression, of a response with status 200.
    std::function<void(const char* data, std::size_t size)> onBody;
    /// Counters in bytes as transferred: total (0: unknown), received; other than 0 aborts. Called
    /// about once a second while the request runs, also while nothing arrives, more often while
    /// much arrives, and at its end. May be empty.
    std::function<int(std::int64_t total, std::int64_t received)> onProgress;
};

/// What came back.
struct HttpResponse {
    int status = 0;       ///< of the last response; 0 when none arrived
    std::string location; ///< target of a redirect, absolute; empty when there is none
    bool offersBasic = false;
    bool offersDigest = false;
    /// What went wrong, one clause without URL or library number; empty when the response arrived
    /// whole, whatever its status. The body of a status other than 200 is dropped, and a large one
    /// is not waited for.
    std::string failure;
    /// The exception of a callback; failure is set too.
    std::exception_ptr callbackError;
};

/// The phone's web client: performs single requests over connections that are kept from request to
/// request, and knows about proxies. One object a process, owned by the framework. Any thread.
class IRestApi {
public:
    virtual ~IRestApi() = default;
    /// Performs one request; blocks until it has ended. Failures of the network and exceptions of
    /// callbacks are part of the response, not thrown.
    virtual HttpResponse get(const HttpRequest& request) = 0;
    /// Aborts running requests within a second and refuses further ones: the process is ending.
    virtual void shutdown() noexcept = 0;
    /// The proxy settings in the environment changed; further requests use the new ones.
    virtual void proxyChanged() = 0;
    /// How long a resolved name is remembered; further requests use it.
    virtual void setDnsCacheTimeout(std::chrono::seconds timeout) = 0;
};

} // namespace http
