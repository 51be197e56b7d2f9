#include "CurlTransfer.h"

#include "Ascii.h"
#include "CurlFailure.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace http {

namespace {

constexpr std::uint64_t MAX_HEADER_BYTES = 256ULL << 10U;
/// So much of the body of an error or a redirect is read to keep the connection.
constexpr std::uint64_t MAX_DROPPED_BYTES = 64ULL << 10U;
constexpr std::chrono::milliseconds REPORT_INTERVAL{100};

constexpr const char* ABORTED = "the transfer was aborted";

std::optional<std::uint64_t> number(const std::string& text) {
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || parsed != end || text.empty())
        return std::nullopt;
    return value;
}

} // namespace

CurlTransfer::CurlTransfer(CURL* easy, const HttpRequest& request)
    : easy_(easy), request_(request), stall_(request.stallTimeout) {
    ::curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, detail_.data());
    ::curl_easy_setopt(easy_, CURLOPT_PREREQFUNCTION, &CurlTransfer::onRequest);
    ::curl_easy_setopt(easy_, CURLOPT_PREREQDATA, this);
    ::curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
    ::curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
    ::curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody);
    ::curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
}

/// Runs code of the requester below C code of the library, which no exception may cross.
template <typename Call>
bool CurlTransfer::guarded(Call call) noexcept {
    try {
        return call();
    } catch (...) {
        callbackError_ = std::current_exception();
        return false;
    }
}

int CurlTransfer::onRequest(void* self, char* /*remote*/, char* /*local*/, int /*remotePort*/,
                            int /*localPort*/) {
    // Connected, and about to ask: the wait for the answer begins. Before, the connect time-out
    // holds.
    static_cast<CurlTransfer*>(self)->stall_.start(Clock::now());
    return CURL_PREREQFUNC_OK;
}

std::size_t CurlTransfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
    auto* transfer = static_cast<CurlTransfer*>(self);
    const std::size_t bytes = size * count;
    const bool good = transfer->guarded([&] { return transfer->takeHeader(data, bytes); });
    return good ? bytes : 0;
}

std::size_t CurlTransfer::onBody(char* data, std::size_t size, std::size_t count, void* self) {
    auto* transfer = static_cast<CurlTransfer*>(self);
    const std::size_t bytes = size * count;
    const bool good = transfer->guarded([&] { return transfer->takeBody(data, bytes); });
    return good ? bytes : 0;
}

bool CurlTransfer::takeHeader(const char* data, std::size_t size) {
    stall_.received(size);
    headerBytes_ += size;
    if (headerBytes_ > MAX_HEADER_BYTES) {
        stop("the header of the answer is too large");
        return false;
    }
    const std::string_view line(data, size);
    if (line.substr(0, 5) == "HTTP/")
        headerEnded_ = false; // a further response: informational, or before authentication
    if (line != "\r\n" && line != "\n")
        return true;
    headerEnded_ = true;
    return beginBody();
}

/// The header is whole: decides whether its body may come.
bool CurlTransfer::beginBody() {
    inflater_.reset();
    droppedBytes_ = 0;
    total_ = 0;
    received_ = 0;
    if (status() != 200)
        return true;
    // Where both are sent, the length says nothing.
    const bool chunked = !header("Transfer-Encoding").empty();
    const auto length = chunked ? std::nullopt : number(header("Content-Length"));
    if (length)
        total_ = static_cast<std::int64_t>(std::min<std::uint64_t>(*length, INT64_MAX));
    const std::string encoding = header("Content-Encoding");
    if (!encoding.empty() && !ascii::equalsIgnoringCase(encoding, "identity"))
        return acceptEncoding(encoding);
    if (length && request_.onLength && !request_.onLength(*length)) {
        stop(ABORTED);
        return false;
    }
    return true;
}

bool CurlTransfer::acceptEncoding(const std::string& encoding) {
    if (!ascii::equalsIgnoringCase(encoding, "gzip") &&
        !ascii::equalsIgnoringCase(encoding, "x-gzip")) {
        stop("the answer is compressed in a way that was not asked for");
        return false;
    }
    inflater_.emplace();
    return true;
}

bool CurlTransfer::takeBody(const char* data, std::size_t size) {
    stall_.received(size);
    if (status() != 200)
        return drop(size);
    received_ += static_cast<std::int64_t>(size);
    return inflater_ ? inflate(data, size) : deliver(data, size);
}

bool CurlTransfer::drop(std::uint64_t size) {
    droppedBytes_ += size;
    drained_ = droppedBytes_ > MAX_DROPPED_BYTES;
    return !drained_;
}

bool CurlTransfer::inflate(const char* data, std::size_t size) {
    const auto result = inflater_->feed(data, size, [this](const char* piece, std::size_t length) {
        return deliver(piece, length);
    });
    if (result == GzipInflater::Result::Damaged)
        stop("the compressed answer is damaged");
    return result == GzipInflater::Result::Good;
}

bool CurlTransfer::deliver(const char* data, std::size_t size) {
    if (request_.onBody(data, size))
        return true;
    stop(ABORTED);
    return false;
}

bool CurlTransfer::report() {
    return !request_.onProgress || request_.onProgress(total_, received_) == 0;
}

bool CurlTransfer::goOn(Clock::time_point now) {
    if (stopped())
        return false;
    if (!reported_ || now - *reported_ >= REPORT_INTERVAL) {
        reported_ = now;
        if (!report())
            stop(ABORTED);
    }
    if (stall_.stalled(now))
        stop("the transfer stalled");
    return !stopped();
}

void CurlTransfer::stop(const std::string& cause) {
    if (cause_.empty())
        cause_ = cause;
}

HttpResponse CurlTransfer::finish(std::optional<CURLcode> code) {
    if (callbackError_)
        std::rethrow_exception(callbackError_);
    if (code == CURLE_OK && !report())
        stop(ABORTED);
    // The library takes a header without its end for a whole answer.
    if (code == CURLE_OK && !headerEnded_)
        stop("the answer was cut short");
    if (code == CURLE_OK && inflater_ && !inflater_->complete())
        stop("the compressed answer was cut short");

    HttpResponse response;
    response.status = status();
    response.failure = cause_;
    if (cause_.empty() && !drained_ && code != CURLE_OK)
        response.failure =
            describeFailure(easy_, code.value_or(CURLE_ABORTED_BY_CALLBACK), detail_.data());
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
