// SPDX-License-Identifier: Apache-2.0
#include "CurlFailure.h"

#include "Clause.h"
#include "TlsFailure.h"

#include <cerrno>

namespace http {

namespace {

constexpr long PROXY_AUTHENTICATION_REQUIRED = 407;

constexpr const char* STALLED = "the transfer stalled";

constexpr Clause<int> CONNECTING[] = {
    {ECONNREFUSED, "connection refused"},        {EHOSTUNREACH, "the host is unreachable"},
    {ENETUNREACH, "the network is unreachable"}, {ENETDOWN, "the network is down"},
    {ETIMEDOUT, "timed out while connecting"},
};

/// Before an answer has begun.
constexpr Clause<CURLcode> NO_ANSWER[] = {
    {CURLE_URL_MALFORMAT, "the URL is malformed"},
    {CURLE_UNSUPPORTED_PROTOCOL, "@ does not speak HTTP"},
    {CURLE_WEIRD_SERVER_REPLY, "@ does not speak HTTP"},
    {CURLE_SSL_CIPHER, "no cipher can be used for TLS"},
    // OpenSSL has verified everything else in the certificate.
    {CURLE_PEER_FAILED_VERIFICATION, "% is for another host name"},
    {CURLE_SSL_CACERT_BADFILE, "the trusted certificates cannot be read, or there are none"},
    {CURLE_SSL_CERTPROBLEM, "the client certificate or its key cannot be used"},
    {CURLE_SSL_CLIENTCERT, "@ requires a client certificate"},
    {CURLE_GOT_NOTHING, "@ closed the connection without an answer"},
    {CURLE_RECV_ERROR, "@ broke the connection without an answer"},
    {CURLE_SEND_ERROR, "@ broke the connection without an answer"},
    {CURLE_PARTIAL_FILE, "@ broke the connection without an answer"},
    {CURLE_HTTP2, "@ broke the connection without an answer"},
    {CURLE_HTTP2_STREAM, "@ broke off without an answer"},
    {CURLE_TOO_MANY_REDIRECTS, "@ keeps asking for authentication"},
    {CURLE_OUT_OF_MEMORY, "out of memory"},
};

constexpr Clause<CURLcode> ANSWER[] = {
    {CURLE_PARTIAL_FILE, "the answer was cut short"},
    {CURLE_GOT_NOTHING, "the answer was cut short"},
    {CURLE_RECV_ERROR, "the answer was cut short"},
    {CURLE_SEND_ERROR, "the answer was cut short"},
    {CURLE_HTTP2_STREAM, "the answer was cut short"},
    {CURLE_HTTP2, "the answer is garbled"},
    {CURLE_UNSUPPORTED_PROTOCOL, "the answer is garbled"},
    {CURLE_WEIRD_SERVER_REPLY, "the answer is garbled"},
    {CURLE_BAD_CONTENT_ENCODING, "the answer is garbled"},
    {CURLE_TOO_MANY_REDIRECTS, "@ keeps asking for authentication"},
    {CURLE_OPERATION_TIMEDOUT, STALLED},
};

/// Answers of a SOCKS proxy, and failures to get one.
constexpr Clause<long> SOCKS[] = {
    {CURLPX_RESOLVE_HOST, "the host name cannot be resolved"},
    {CURLPX_REPLY_CONNECTION_REFUSED, "@ was refused the connection"},
    {CURLPX_REPLY_HOST_UNREACHABLE, "@ cannot reach the host"},
    {CURLPX_REPLY_NETWORK_UNREACHABLE, "@ cannot reach the network of the host"},
    {CURLPX_REPLY_TTL_EXPIRED, "@ cannot reach the host"},
    {CURLPX_REPLY_NOT_ALLOWED, "@ does not allow the connection"},
    {CURLPX_NO_AUTH, "@ asks for credentials"},
    {CURLPX_USER_REJECTED, "@ refused its credentials"},
    {CURLPX_CLOSED, "@ closed the connection without an answer"},
    {CURLPX_RECV_CONNECT, "@ closed the connection without an answer"},
    {CURLPX_BAD_VERSION, "@ does not speak SOCKS"},
};

long info(CURL* easy, CURLINFO what) {
    long value = 0;
    ::curl_easy_getinfo(easy, what, &value);
    return value;
}

bool isWebProxy(const Route& route) {
    return route.proxy && route.proxy->kind != Proxy::Kind::Socks;
}

/// The one that failed.
struct Peer {
    bool isProxy;
    std::string name;
    std::string certificate;
};

/// True when the request failed at the proxy; false when it reached the server.
bool dealtWithProxy(const FailedRequest& request) {
    const Route& route = request.route;
    if (!isWebProxy(route)) {
        // Only the library knows how far the request came with a SOCKS proxy: its code tells.
        return route.proxy && !request.tls.isShakingHands() &&
               (request.code == CURLE_COULDNT_RESOLVE_PROXY ||
                request.code == CURLE_COULDNT_CONNECT || request.code == CURLE_PROXY ||
                request.code == CURLE_OPERATION_TIMEDOUT);
    }
    // The proxy makes a tunnel for an encrypted request.
    return !route.encrypted ||
           (!request.sent && info(request.easy, CURLINFO_HTTP_CONNECTCODE) == 0);
}

std::string nameOf(const Proxy& proxy) {
    return "the proxy " + proxy.name;
}

std::string wantsCredentials(const Proxy& proxy) {
    return nameOf(proxy) +
           (proxy.hasCredentials ? " refused its credentials" : " asks for credentials");
}

Peer peerOf(const FailedRequest& request) {
    if (!dealtWithProxy(request))
        return {false, "the server", "the certificate"};
    const std::string name = nameOf(*request.route.proxy);
    return {true, name, "the certificate of " + name};
}

std::string filled(const char* text, const Peer& peer) {
    std::string result;
    for (; *text != '\0'; ++text) {
        if (*text == '@')
            result += peer.name;
        else if (*text == '%')
            result += peer.certificate;
        else
            result += *text;
    }
    return result;
}

/// Why there is no connection to the peer; null: the failure is another one.
const char* describeConnecting(const FailedRequest& request) {
    if (request.code == CURLE_COULDNT_RESOLVE_HOST || request.code == CURLE_COULDNT_RESOLVE_PROXY)
        return "the host name cannot be resolved";
    if (request.code != CURLE_COULDNT_CONNECT)
        return nullptr;
    const char* text = find(CONNECTING, static_cast<int>(info(request.easy, CURLINFO_OS_ERRNO)));
    return text == nullptr ? "no connection can be made" : text;
}

const char* describeTimeout(const FailedRequest& request, const Peer& peer) {
    if (request.sent)
        return STALLED;
    if (request.tls.isShakingHands())
        return "the TLS handshake with @ timed out";
    return peer.isProxy ? "@ did not answer in time" : "timed out while connecting";
}

/// True when TLS is the reason why the connection ended.
bool isHandshakeAtFault(const FailedRequest& request) {
    if (request.code == CURLE_SSL_CONNECT_ERROR || request.tls.alertReceived() ||
        request.tls.certificateProblem())
        return true;
    // With TLS 1.3 the server judges the client's certificate after the handshake, with TLS 1.2 it
    // may begin another handshake for it; and not every server gives the reason in an alert.
    const bool ended = request.code == CURLE_RECV_ERROR || request.code == CURLE_SEND_ERROR ||
                       request.code == CURLE_GOT_NOTHING || request.code == CURLE_PARTIAL_FILE ||
                       request.code == CURLE_HTTP2;
    return ended && (request.tls.isShakingHands() || request.tls.wasAskedForCertificate());
}

/// Why a request that reached its peer got no answer; null: unknown.
const char* describeNoAnswer(const FailedRequest& request, const Peer& peer) {
    if (isHandshakeAtFault(request))
        return describeHandshake(request.tls,
                                 !peer.isProxy && request.route.offersClientCertificate);
    if (request.code == CURLE_OPERATION_TIMEDOUT)
        return describeTimeout(request, peer);
    if (request.code == CURLE_PROXY) {
        const char* text = find(SOCKS, info(request.easy, CURLINFO_PROXY_ERROR));
        return text == nullptr ? "@ refused the connection" : text;
    }
    // The proxy sent something that the library did not accept as a header.
    if (peer.isProxy && !request.sent && info(request.easy, CURLINFO_HEADER_SIZE) > 0)
        return "@ does not speak HTTP";
    return find(NO_ANSWER, request.code);
}

} // namespace

std::string describeFailure(const FailedRequest& request) {
    const long tunnelStatus = info(request.easy, CURLINFO_HTTP_CONNECTCODE);
    if (request.route.proxy && tunnelStatus == PROXY_AUTHENTICATION_REQUIRED)
        return wantsCredentials(*request.route.proxy);
    if (request.route.proxy && tunnelStatus >= 300)
        return nameOf(*request.route.proxy) + " refused CONNECT with status " +
               std::to_string(tunnelStatus);
    const Peer peer = peerOf(request);
    if (const char* text = describeConnecting(request))
        return peer.isProxy ? peer.name + " cannot be reached: " + text : text;
    const char* text =
        request.answered ? find(ANSWER, request.code) : describeNoAnswer(request, peer);
    if (text == nullptr)
        return std::string("the transfer failed: ") + ::curl_easy_strerror(request.code);
    return filled(text, peer);
}

std::string describeProxyAuthentication(const Route& route) {
    // Through a tunnel it is the server that answers.
    return isWebProxy(route) && !route.encrypted
               ? wantsCredentials(*route.proxy)
               : "the server asks for proxy credentials (status 407), but it is not a proxy";
}

} // namespace http
