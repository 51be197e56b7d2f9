// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CurlFailure.h"
#include "TlsFiles.h"
#include "TlsWatch.h"
#include "http/IRestApi.h"

#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

namespace http {

/// The library's handle for one request at a time, with the connections, TLS sessions and resolved
/// names that stay from request to request. Used by one thread at a time.
class CurlSession {
public:
    CurlSession();
    ~CurlSession() = default;
    CurlSession(const CurlSession&) = delete;
    CurlSession& operator=(const CurlSession&) = delete;

    /// Performs a request. files: needed by an encrypted one, and on the way to an encrypted proxy.
    /// ending: becomes true to abort the request, which ends within a second.
    HttpResponse perform(const HttpRequest& request, const Route& route,
                         const std::optional<TlsFiles>& files, std::chrono::seconds dnsCacheTimeout,
                         const std::atomic<bool>& ending);

    /// The TLS files that its connections were verified with; empty: none was.
    const TlsFiles::Fingerprint& fingerprint() const { return fingerprint_; }

private:
    struct CleanUp {
        void operator()(CURL* easy) const { ::curl_easy_cleanup(easy); }
        void operator()(curl_slist* list) const { ::curl_slist_free_all(list); }
    };

    void setUp(const HttpRequest& request, const Route& route,
               std::chrono::seconds dnsCacheTimeout);
    void setUpCredentials(const HttpRequest& request);
    void setUpTls(const std::optional<TlsFiles>& files);

    TlsWatch tls_; ///< outlives the connections
    std::unique_ptr<curl_slist, CleanUp> headers_;
    std::unique_ptr<CURL, CleanUp> easy_;
    TlsFiles::Fingerprint fingerprint_;
};

} // namespace http
