// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/IRestApi.h"

#include <memory>

namespace http {

/// The phone's web client over libcurl. Keeps a few sessions, each with its connections; a request
/// takes the one given back last, so that files fetched one after another, on whichever threads,
/// come over the same connection. Has no thread and does nothing between requests.
class CurlRestApi : public IRestApi {
public:
    CurlRestApi();
    /// No request may be running.
    ~CurlRestApi() override;
    CurlRestApi(const CurlRestApi&) = delete;
    CurlRestApi& operator=(const CurlRestApi&) = delete;

    HttpResponse get(const HttpRequest& request) override;
    void shutdown() noexcept override;
    void proxyChanged() override;
    void setDnsCacheTimeout(std::chrono::seconds timeout) override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace http
