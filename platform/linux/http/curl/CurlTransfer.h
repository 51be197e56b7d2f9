// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CurlFailure.h"
#include "GzipInflater.h"
#include "StallWatch.h"
#include "http/IRestApi.h"

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>

namespace http {

/// What is going on in one request: takes header and body from the library, watches over speed and
/// sizes, calls the requester back, and sums up the response. On the requesting thread.
class CurlTransfer {
public:
    using Clock = StallWatch::Clock;

    /// Hooks itself into the handle; the handle must not be used for another request before the
    /// object has gone.
    CurlTransfer(CURL* easy, const HttpRequest& request, const Route& route, const TlsWatch& tls);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    /// Tells the requester how far it is and looks for a stall; false: the transfer has to end.
    bool goOn(Clock::time_point now);
    /// Ends the transfer with this cause.
    void stop(const std::string& cause);
    /// The response. code: how the library ended the transfer; nothing when it did not.
    HttpResponse finish(std::optional<CURLcode> code);

private:
    static int onRequest(void* self, char* remote, char* local, int remotePort, int localPort);
    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);

    void takeHeader(const char* data, std::size_t size);
    void beginBody();
    void acceptEncoding(const std::string& encoding);
    void takeBody(const char* data, std::size_t size);
    void drop(std::uint64_t size);
    void inflate(const char* data, std::size_t size);
    void report();
    bool stopped() const { return drained_ || !cause_.empty(); }
    template <typename Call>
    bool guarded(Call call);
    int status() const;
    std::string header(const char* name) const;

    CURL* easy_;
    const HttpRequest& request_;
    const Route& route_;
    const TlsWatch& tls_;
    StallWatch stall_;
    std::optional<GzipInflater> inflater_;
    std::uint64_t headerBytes_ = 0;
    bool sent_ = false;     ///< the request, or the next one where the first was not enough
    bool answered_ = false; ///< the final answer to it began
    bool headerEnded_ = false;
    std::uint64_t droppedBytes_ = 0;
    std::int64_t total_ = 0;
    std::int64_t received_ = 0;
    std::optional<Clock::time_point> reported_;
    std::string cause_;    ///< why we ended the transfer; empty: we did not
    bool drained_ = false; ///< enough of a body that nobody wants
    std::exception_ptr callbackError_;
};

} // namespace http
