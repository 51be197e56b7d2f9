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
#include <string>

namespace http {

/// The library's handles for one request at a time, with the connections, TLS sessions and resolved
/// names that stay from request to request. Used by one thread at a time.
class CurlSession {
public:
    CurlSession();
    ~CurlSession() = default;
    CurlSession(const CurlSession&) = delete;
    CurlSession& operator=(const CurlSession&) = delete;

    /// Performs a request. files: needed by an encrypted one, and on the way to an encrypted proxy.
    /// ending: becomes true to abort it, which takes a fraction of a second.
    HttpResponse perform(const HttpRequest& request, const Route& route,
                         const std::optional<TlsFiles>& files, std::chrono::seconds dnsCacheTimeout,
                         const std::atomic<bool>& ending);

    /// Fingerprint of the TLS files that its connections were verified with; empty: none was.
    const std::string& fingerprint() const { return fingerprint_; }

private:
    struct CleanUpEasy {
        void operator()(CURL* easy) const { ::curl_easy_cleanup(easy); }
    };
    struct CleanUpMulti {
        void operator()(CURLM* multi) const { ::curl_multi_cleanup(multi); }
    };
    struct FreeList {
        void operator()(curl_slist* list) const { ::curl_slist_free_all(list); }
    };

    void setUp(const HttpRequest& request, const Route& route,
               std::chrono::seconds dnsCacheTimeout);
    void setUpCredentials(const HttpRequest& request);
    void setUpTls(const std::optional<TlsFiles>& files);
    std::optional<CURLcode> finished();

    TlsWatch tls_; ///< outlives the connections
    // The easy handle goes before the multi handle that it may be part of.
    std::unique_ptr<CURLM, CleanUpMulti> multi_;
    std::unique_ptr<CURL, CleanUpEasy> easy_;
    std::unique_ptr<curl_slist, FreeList> headers_;
    std::string fingerprint_;
};

} // namespace http
