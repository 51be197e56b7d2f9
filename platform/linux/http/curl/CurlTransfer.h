// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CurlFailure.h"
#include "GzipInflater.h"
#include "http/IRestApi.h"

#include <curl/curl.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>

namespace http {

/// One running request: takes header and body from the library, bounds their sizes, calls the
/// requester back, and makes the response. On the requesting thread.
class CurlTransfer {
public:
    /// Hooks itself into the handle; the handle must not be used for another request before the
    /// object has gone. ending: becomes true to abort the request.
    CurlTransfer(CURL* easy, const HttpRequest& request, const Route& route, const TlsWatch& tls,
                 const std::atomic<bool>& ending);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    /// The response. code: how the library ended the transfer.
    HttpResponse finish(CURLcode code) const;

private:
    static int onSocket(void* self, curl_socket_t socket, curlsocktype purpose);
    static int onRequest(void* self, char* remote, char* local, int remotePort, int localPort);
    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
    static int onProgress(void* self, curl_off_t total, curl_off_t received, curl_off_t sendTotal,
                          curl_off_t sent);

    void takeHeader(const char* data, std::size_t size);
    void beginBody();
    void acceptEncoding(const std::string& encoding);
    void takeBody(const char* data, std::size_t size);
    void drop(std::uint64_t size);
    void inflate(const char* data, std::size_t size);
    void report();
    void stop(const char* cause);
    bool stopped() const { return drained_ || !cause_.empty(); }
    template <typename Call>
    bool guarded(Call call);
    std::string verdict(CURLcode code) const;
    int status() const;
    std::string header(const char* name) const;

    CURL* easy_;
    const HttpRequest& request_;
    const Route& route_;
    const TlsWatch& tls_;
    const std::atomic<bool>& ending_;
    std::optional<GzipInflater> inflater_;
    std::uint64_t headerBytes_ = 0;
    bool sent_ = false;     ///< the request went off over the connection opened last
    bool answered_ = false; ///< the final answer to it began
    bool headerEnded_ = false;
    std::uint64_t droppedBytes_ = 0;
    std::int64_t total_ = 0;
    std::int64_t received_ = 0;
    std::string cause_;    ///< why we ended the transfer; empty: we did not
    bool drained_ = false; ///< enough was read of a body that is not wanted
    std::exception_ptr callbackError_;
};

} // namespace http
