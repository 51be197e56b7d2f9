// SPDX-License-Identifier: Apache-2.0
#include "Transfer.h"

#include "http/UrlException.h"
#include "logger/Logger.h"
#include "text/Ascii.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace http {

namespace {

constexpr unsigned int MAX_REDIRECTS = 10;
constexpr std::array<int, 5> REDIRECTS = {301, 302, 303, 307, 308};

/// True for an answer that accepts the credentials, whether or not the server has the file.
bool takesCredentials(int status) {
    constexpr int UNAUTHORIZED = 401;
    constexpr int FORBIDDEN = 403;
    constexpr int PROXY_AUTHENTICATION_REQUIRED = 407;
    constexpr int FIRST_SERVER_ERROR = 500;
    return status >= 200 && status < FIRST_SERVER_ERROR && status != UNAUTHORIZED &&
           status != FORBIDDEN && status != PROXY_AUTHENTICATION_REQUIRED;
}

bool isRedirect(int status) {
    return std::find(REDIRECTS.begin(), REDIRECTS.end(), status) != REDIRECTS.end();
}

bool isEncrypted(const UrlInfo& url) {
    return ascii::equalsIgnoringCase(url.scheme, "https");
}

bool isWeb(const UrlInfo& url) {
    return isEncrypted(url) || ascii::equalsIgnoringCase(url.scheme, "http");
}

std::uint32_t portOf(const UrlInfo& url) {
    if (url.port != 0)
        return url.port;
    return isEncrypted(url) ? 443 : 80;
}

UrlInfo parseTarget(const std::string& location) {
    try {
        return withoutCredentials(UrlInfo(location));
    } catch (const UrlException&) {
        throw std::runtime_error("the target of the redirect is not a usable URL");
    }
}

} // namespace

Transfer::Transfer(const Services& services, const DownloadSettings& settings, const UrlInfo& url,
                   IFileDownloader::ProgressCallback progress, DownloadFile& file)
    : services_(services)
    , settings_(settings)
    , progress_(std::move(progress))
    , file_(file)
    , origin_(withoutCredentials(url))
    , url_(origin_)
    , sources_(url, services.credentialsProvider) {}

void Transfer::run() {
    if (!isWeb(url_))
        throw std::runtime_error("only http and https are supported");
    for (;;) {
        const HttpResponse response = request();
        if (response.status != 0)
            status_ = response.status;
        judge(response);
        if (response.status == 200)
            break;
    }
    if (!file_.created())
        file_.create(); // the body is empty
    file_.commit();
}

HttpResponse Transfer::request() {
    HttpRequest request;
    request.url = url_;
    if (credentials_ && atOrigin()) {
        request.auth = scheme_;
        request.user = credentials_->user;
        request.password = credentials_->password;
    }
    request.caBundlePath = services_.security.getCaBundlePath();
    request.clientIdentity = services_.security.getClientIdentity();
    request.connectTimeout = settings_.connectTimeout;
    request.stallTimeout = settings_.stallTimeout;
    request.onLength = [this](std::uint64_t length) {
        takeLength(length);
    };
    request.onBody = [this](const char* data, std::size_t size) {
        takeBody(data, size);
    };
    request.onProgress = [this](std::int64_t total, std::int64_t received) {
        return reportProgress(total, received);
    };
    return services_.restApi.get(request);
}

/// Throws when the download has failed; returns when it goes on or is complete.
void Transfer::judge(const HttpResponse& response) {
    if (takesCredentials(response.status))
        keepTypedIn();
    if (response.callbackError)
        std::rethrow_exception(response.callbackError);
    if (!response.failure.empty())
        throw std::runtime_error(response.failure);
    if (isRedirect(response.status))
        redirect(response);
    else if (response.status == 401)
        chooseCredentials(response);
    else if (response.status != 200)
        throw std::runtime_error("the server answered with status " +
                                 std::to_string(response.status));
}

void Transfer::redirect(const HttpResponse& response) {
    if (response.location.empty())
        throw std::runtime_error("the server redirected to nowhere");
    if (++redirects_ > MAX_REDIRECTS)
        throw std::runtime_error("more than " + std::to_string(MAX_REDIRECTS) + " redirects");
    UrlInfo target = parseTarget(response.location);
    if (!isWeb(target))
        throw std::runtime_error("the redirect leads to something else than http and https");
    if (isEncrypted(url_) && !isEncrypted(target))
        throw std::runtime_error("the redirect leads from https to http");
    url_ = std::move(target);
}

void Transfer::chooseCredentials(const HttpResponse& response) {
    if (!atOrigin())
        throw std::runtime_error(
            "the server asks for credentials, which the target of a redirect does not get");
    if (!response.offersDigest && !response.offersBasic)
        throw std::runtime_error(
            "the server asks for credentials, but neither by Digest nor by Basic authentication");
    credentials_ = sources_.next();
    if (!credentials_)
        throw std::runtime_error(sources_.anyTried()
                                     ? "the server refused the credentials"
                                     : "the server asks for credentials, and there are none");
    scheme_ = response.offersDigest ? AuthScheme::Digest : AuthScheme::Basic;
}

/// The server accepted the credentials of the last request: those typed in are kept for later.
void Transfer::keepTypedIn() {
    if (!credentials_ || !credentials_->typedIn || !atOrigin())
        return;
    credentials_->typedIn = false;
    try {
        services_.credentialsProvider->saveHttpCredentials(credentials_->user,
                                                           credentials_->password.text());
    } catch (const std::exception& error) {
        LOG(2) << "The credentials typed in are not stored: " << error.what();
    }
}

void Transfer::takeLength(std::uint64_t length) const {
    if (length > settings_.maxBytes)
        refuseSize();
}

void Transfer::takeBody(const char* data, std::size_t size) {
    if (size > settings_.maxBytes - written_)
        refuseSize();
    if (!file_.created())
        file_.create();
    file_.append(data, size);
    written_ += size;
}

void Transfer::refuseSize() const {
    throw std::runtime_error("the file is larger than " + std::to_string(settings_.maxBytes) +
                             " bytes");
}

int Transfer::reportProgress(std::int64_t total, std::int64_t received) const {
    return progress_ ? progress_(total, received, 0, 0) : 0;
}

bool Transfer::atOrigin() const {
    return isEncrypted(url_) == isEncrypted(origin_) &&
           ascii::equalsIgnoringCase(url_.host, origin_.host) && portOf(url_) == portOf(origin_);
}

} // namespace http
