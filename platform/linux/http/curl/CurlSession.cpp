// SPDX-License-Identifier: Apache-2.0
#include "CurlSession.h"

#include "CurlNumber.h"
#include "CurlTransfer.h"

#include <new>

namespace http {

namespace {

constexpr long KEPT_CONNECTIONS = 4;
/// Digest authentication takes a second request, and a third one when the nonce is stale; the
/// library counts them as redirects.
constexpr long MAX_AUTHENTICATION_ROUNDS = 4;
/// A slower transfer is stalled when it stays so for the time-out.
constexpr long LOW_SPEED_BYTES_PER_SECOND = 100;

} // namespace

CurlSession::CurlSession()
    : headers_(::curl_slist_append(nullptr, "Accept-Encoding: gzip")), easy_(::curl_easy_init()) {
    if (!easy_ || !headers_)
        throw std::bad_alloc();
}

HttpResponse CurlSession::perform(const HttpRequest& request, const Route& route,
                                  const std::optional<TlsFiles>& files,
                                  std::chrono::seconds dnsCacheTimeout,
                                  const std::atomic<bool>& ending) {
    // Forgets options, credentials and digest state; connections, TLS sessions and names stay.
    ::curl_easy_reset(easy_.get());
    setUp(request, route, dnsCacheTimeout);
    setUpCredentials(request);
    setUpTls(files);
    tls_.begin();
    tls_.hookInto(easy_.get());
    CurlTransfer transfer(easy_.get(), request, route, tls_, ending);
    return transfer.finish(::curl_easy_perform(easy_.get()));
}

void CurlSession::setUp(const HttpRequest& request, const Route& route,
                        std::chrono::seconds dnsCacheTimeout) {
    CURL* easy = easy_.get();
    const std::string url = request.url.getAbsolutePath() + request.url.fileName;
    ::curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    ::curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    ::curl_easy_setopt(easy, CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
    ::curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers_.get());
    ::curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
    // Not what the library itself reads from the environment: it would be the same.
    ::curl_easy_setopt(easy, CURLOPT_PROXY, route.proxy ? route.proxy->url.c_str() : "");
    ::curl_easy_setopt(easy, CURLOPT_NOPROXY, "");
    ::curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    ::curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    ::curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, curlNumber(request.connectTimeout.count()));
    // The library counts from the request on, the wait for the first byte included.
    ::curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, LOW_SPEED_BYTES_PER_SECOND);
    ::curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, curlNumber(request.stallTimeout.count()));
    ::curl_easy_setopt(easy, CURLOPT_MAXCONNECTS, KEPT_CONNECTIONS);
    ::curl_easy_setopt(easy, CURLOPT_DNS_CACHE_TIMEOUT, curlNumber(dnsCacheTimeout.count()));
    // So that an aborted request does not wait for a silent name server.
    ::curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
}

void CurlSession::setUpCredentials(const HttpRequest& request) {
    if (request.auth == AuthScheme::None)
        return;
    CURL* easy = easy_.get();
    ::curl_easy_setopt(
        easy, CURLOPT_HTTPAUTH,
        static_cast<long>(request.auth == AuthScheme::Digest ? CURLAUTH_DIGEST : CURLAUTH_BASIC));
    ::curl_easy_setopt(easy, CURLOPT_USERNAME, request.user.c_str());
    ::curl_easy_setopt(easy, CURLOPT_PASSWORD, request.password.text().c_str());
    ::curl_easy_setopt(easy, CURLOPT_MAXREDIRS, MAX_AUTHENTICATION_ROUNDS);
}

void CurlSession::setUpTls(const std::optional<TlsFiles>& files) {
    CURL* easy = easy_.get();
    // The bundle and nothing else: not the file and the directory that are built into the library.
    const char* bundle = files ? files->caBundle.c_str() : nullptr;
    for (const CURLoption option : {CURLOPT_CAINFO, CURLOPT_PROXY_CAINFO})
        ::curl_easy_setopt(easy, option, bundle);
    for (const CURLoption option : {CURLOPT_CAPATH, CURLOPT_PROXY_CAPATH})
        ::curl_easy_setopt(easy, option, nullptr);
    for (const CURLoption option : {CURLOPT_SSLVERSION, CURLOPT_PROXY_SSLVERSION})
        ::curl_easy_setopt(easy, option, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    ::curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    ::curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    if (!files)
        return;
    fingerprint_ = files->fingerprint;
    if (files->offersClientCertificate()) {
        ::curl_easy_setopt(easy, CURLOPT_SSLCERT, files->clientCertificate.c_str());
        ::curl_easy_setopt(easy, CURLOPT_SSLKEY, files->clientKey.c_str());
        // Set even when empty: without a password, OpenSSL asks on the terminal. The library keeps
        // a copy, which it offers no way to wipe.
        ::curl_easy_setopt(easy, CURLOPT_KEYPASSWD, files->clientKeyPassword.text().c_str());
    }
}

} // namespace http
