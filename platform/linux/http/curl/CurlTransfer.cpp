// SPDX-License-Identifier: Apache-2.0
#include "CurlTransfer.h"

#include "text/Ascii.h"
#include "text/Number.h"

#include <algorithm>
#include <string_view>

namespace http {

namespace {

constexpr std::uint64_t MAX_HEADER_BYTES = 256ULL << 10U;
/// The body of an error or a redirect is read up to here, to keep the connection.
constexpr std::uint64_t MAX_DROPPED_BYTES = 64ULL << 10U;

constexpr int PROXY_AUTHENTICATION_REQUIRED = 407;

constexpr const char* ABORTED = "the transfer was aborted";

bool isInformational(int status) {
    return status >= 100 && status < 200;
}

} // namespace

CurlTransfer::CurlTransfer(CURL* easy, const HttpRequest& request, const Route& route,
                           const TlsWatch& tls, const std::atomic<bool>& ending)
    : easy_(easy), request_(request), route_(route), tls_(tls), ending_(ending) {
    ::curl_easy_setopt(easy_, CURLOPT_SOCKOPTFUNCTION, &CurlTransfer::onSocket);
    ::curl_easy_setopt(easy_, CURLOPT_SOCKOPTDATA, this);
    ::curl_easy_setopt(easy_, CURLOPT_PREREQFUNCTION, &CurlTransfer::onRequest);
    ::curl_easy_setopt(easy_, CURLOPT_PREREQDATA, this);
    ::curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
    ::curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
    ::curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody);
    ::curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
    ::curl_easy_setopt(easy_, CURLOPT_XFERINFOFUNCTION, &CurlTransfer::onProgress);
    ::curl_easy_setopt(easy_, CURLOPT_XFERINFODATA, this);
    ::curl_easy_setopt(easy_, CURLOPT_NOPROGRESS, 0L);
}

/// Runs code of the requester below C code of the library, which no exception may cross.
/// False: the transfer has to end.
template <typename Call>
bool CurlTransfer::guarded(Call call) {
    try {
        call();
    } catch (...) {
        callbackError_ = std::current_exception();
        stop(ABORTED);
    }
    return !stopped();
}

/// A new connection: for the first request, or for one that a kept connection did not carry.
int CurlTransfer::onSocket(void* self, curl_socket_t /*socket*/, curlsocktype /*purpose*/) {
    auto* transfer = static_cast<CurlTransfer*>(self);
    transfer->sent_ = false;
    transfer->answered_ = false;
    return CURL_SOCKOPT_OK;
}

int CurlTransfer::onRequest(void* self, char* /*remote*/, char* /*local*/, int /*remotePort*/,
                            int /*localPort*/) {
    auto* transfer = static_cast<CurlTransfer*>(self);
    transfer->sent_ = true;
    transfer->answered_ = false;
    return CURL_PREREQFUNC_OK;
}

std::size_t CurlTransfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
    auto* transfer = static_cast<CurlTransfer*>(self);
    const std::size_t bytes = size * count;
    return transfer->guarded([&] { transfer->takeHeader(data, bytes); }) ? bytes : 0;
}

std::size_t CurlTransfer::onBody(char* data, std::size_t size, std::size_t count, void* self) {
    auto* transfer = static_cast<CurlTransfer*>(self);
    const std::size_t bytes = size * count;
    return transfer->guarded([&] { transfer->takeBody(data, bytes); }) ? bytes : 0;
}

/// The library calls about once a second, and whenever something arrives.
int CurlTransfer::onProgress(void* self, curl_off_t /*total*/, curl_off_t /*received*/,
                             curl_off_t /*sendTotal*/, curl_off_t /*sent*/) {
    auto* transfer = static_cast<CurlTransfer*>(self);
    return transfer->guarded([&] { transfer->report(); }) ? 0 : 1;
}

void CurlTransfer::takeHeader(const char* data, std::size_t size) {
    headerBytes_ += size;
    if (headerBytes_ > MAX_HEADER_BYTES) {
        stop("the header of the answer is too large");
        return;
    }
    const std::string_view line(data, size);
    if (line.substr(0, 5) == "HTTP/") {
        headerEnded_ = false; // a further response: informational, or before authentication
        answered_ = !isInformational(status());
    }
    if (line != "\r\n" && line != "\n")
        return;
    headerEnded_ = true;
    beginBody();
}

/// The header is complete: decides what to do with its body.
void CurlTransfer::beginBody() {
    inflater_.reset();
    droppedBytes_ = 0;
    total_ = 0;
    received_ = 0;
    if (status() != 200)
        return;
    // With both headers, the length does not hold.
    const bool chunked = !header("Transfer-Encoding").empty();
    const auto length =
        chunked ? std::nullopt : parseNumber<std::uint64_t>(header("Content-Length"));
    if (length)
        total_ = static_cast<std::int64_t>(std::min<std::uint64_t>(*length, INT64_MAX));
    const std::string encoding = header("Content-Encoding");
    if (!encoding.empty() && !ascii::equalsIgnoringCase(encoding, "identity"))
        acceptEncoding(encoding);
    else if (length && request_.onLength)
        request_.onLength(*length);
}

void CurlTransfer::acceptEncoding(const std::string& encoding) {
    if (ascii::equalsIgnoringCase(encoding, "gzip") ||
        ascii::equalsIgnoringCase(encoding, "x-gzip"))
        inflater_.emplace();
    else
        stop("the answer is compressed in a way that was not asked for");
}

void CurlTransfer::takeBody(const char* data, std::size_t size) {
    if (status() != 200) {
        drop(size);
        return;
    }
    received_ += static_cast<std::int64_t>(size);
    if (inflater_)
        inflate(data, size);
    else
        request_.onBody(data, size);
}

void CurlTransfer::drop(std::uint64_t size) {
    droppedBytes_ += size;
    drained_ = droppedBytes_ > MAX_DROPPED_BYTES;
}

void CurlTransfer::inflate(const char* data, std::size_t size) {
    if (!inflater_->feed(data, size, request_.onBody))
        stop("the compressed answer is damaged");
}

void CurlTransfer::report() {
    if (ending_)
        stop("the process is ending");
    else if (request_.onProgress && request_.onProgress(total_, received_) != 0)
        stop(ABORTED);
}

/// Ends the transfer with this cause.
void CurlTransfer::stop(const char* cause) {
    if (cause_.empty())
        cause_ = cause;
}

/// Why the request failed; empty: it did not.
std::string CurlTransfer::verdict(CURLcode code) const {
    if (!cause_.empty())
        return cause_;
    if (code != CURLE_OK && !drained_)
        return describeFailure({easy_, code, route_, tls_, sent_, answered_});
    // The library accepts a header without its end as a complete answer.
    if (!headerEnded_)
        return "the answer was cut short";
    if (inflater_ && !inflater_->complete())
        return "the compressed answer was cut short";
    if (status() == PROXY_AUTHENTICATION_REQUIRED)
        return describeProxyAuthentication(route_);
    return {};
}

HttpResponse CurlTransfer::finish(CURLcode code) const {
    HttpResponse response;
    response.failure = verdict(code);
    response.callbackError = callbackError_;
    response.status = status();
    if (!response.failure.empty() && isInformational(response.status))
        response.status = 0; // of an answer that never came
    if (response.status == 401) {
        long offered = 0;
        ::curl_easy_getinfo(easy_, CURLINFO_HTTPAUTH_AVAIL, &offered);
        const auto schemes = static_cast<unsigned long>(offered);
        response.offersBasic = (schemes & CURLAUTH_BASIC) != 0;
        response.offersDigest = (schemes & CURLAUTH_DIGEST) != 0;
    }
    const char* location = nullptr;
    ::curl_easy_getinfo(easy_, CURLINFO_REDIRECT_URL, &location);
    if (location != nullptr)
        response.location = location;
    return response;
}

int CurlTransfer::status() const {
    long status = 0;
    ::curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    return static_cast<int>(status);
}

/// Value of a header of the response that is coming in; empty when it has none.
std::string CurlTransfer::header(const char* name) const {
    constexpr int LATEST_RESPONSE = -1;
    curl_header* found = nullptr;
    if (::curl_easy_header(easy_, name, 0, CURLH_HEADER, LATEST_RESPONSE, &found) != CURLHE_OK)
        return {};
    return found->value;
}

} // namespace http
