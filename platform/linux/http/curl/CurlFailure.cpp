#include "CurlFailure.h"

#include <openssl/x509_vfy.h>

#include <cerrno>
#include <iterator>

namespace http {

namespace {

template <typename Code>
struct Clause {
    Code code;
    const char* text;
};

template <typename Code, std::size_t Count>
const char* find(const Clause<Code> (&table)[Count], Code code, const char* otherwise) {
    for (const Clause<Code>& clause : table) {
        if (clause.code == code)
            return clause.text;
    }
    return otherwise;
}

constexpr Clause<CURLcode> TRANSFER[] = {
    {CURLE_URL_MALFORMAT, "the URL is malformed"},
    {CURLE_UNSUPPORTED_PROTOCOL, "the server does not speak HTTP"},
    {CURLE_WEIRD_SERVER_REPLY, "the server does not speak HTTP"},
    {CURLE_COULDNT_RESOLVE_HOST, "the host name cannot be resolved"},
    {CURLE_COULDNT_RESOLVE_PROXY, "the proxy's host name cannot be resolved"},
    {CURLE_PROXY, "the proxy refused the connection"},
    {CURLE_OPERATION_TIMEDOUT, "timed out while connecting"},
    {CURLE_SSL_CONNECT_ERROR, "the TLS handshake failed (TLS 1.2 or newer is needed)"},
    {CURLE_SSL_CIPHER, "the TLS handshake failed"},
    {CURLE_SSL_ISSUER_ERROR, "the certificate has an unknown issuer"},
    {CURLE_SSL_CACERT_BADFILE, "the trusted certificates cannot be read, or there are none"},
    {CURLE_SSL_CERTPROBLEM, "the client certificate or its key cannot be used"},
    {CURLE_SSL_CLIENTCERT, "the server requires a client certificate"},
    {CURLE_GOT_NOTHING, "the server closed the connection without an answer"},
    {CURLE_PARTIAL_FILE, "the answer was cut short"},
    {CURLE_BAD_CONTENT_ENCODING, "the answer is garbled"},
    {CURLE_HTTP2, "the answer is garbled"},
    {CURLE_HTTP2_STREAM, "the answer was cut short"},
    {CURLE_TOO_MANY_REDIRECTS, "the server keeps asking for authentication"},
    {CURLE_OUT_OF_MEMORY, "out of memory"},
};

constexpr Clause<int> CONNECT[] = {
    {ECONNREFUSED, "connection refused"},        {EHOSTUNREACH, "the host is unreachable"},
    {ENETUNREACH, "the network is unreachable"}, {ENETDOWN, "the network is down"},
    {ETIMEDOUT, "timed out while connecting"},
};

constexpr Clause<long> VERIFICATION[] = {
    // What libcurl itself checks is the name, when the handshake is over and before it fetches the
    // result of the chain, which is then still as it set it out.
    {X509_V_ERR_UNSPECIFIED, "the certificate is for another host name"},
    {X509_V_OK, "the certificate is for another host name"},
    {X509_V_ERR_HOSTNAME_MISMATCH, "the certificate is for another host name"},
    {X509_V_ERR_IP_ADDRESS_MISMATCH, "the certificate is for another host name"},
    {X509_V_ERR_CERT_HAS_EXPIRED, "the certificate has expired"},
    {X509_V_ERR_CERT_NOT_YET_VALID, "the certificate is not valid yet"},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, "the certificate has an unknown issuer"},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, "the certificate has an unknown issuer"},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, "the certificate has an unknown issuer"},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, "the certificate has an unknown issuer"},
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, "the certificate is self-signed and not trusted"},
    {X509_V_ERR_CERT_SIGNATURE_FAILURE, "the certificate's signature is wrong"},
    {X509_V_ERR_INVALID_CA, "an issuing certificate is not one of a certificate authority"},
    {X509_V_ERR_INVALID_PURPOSE, "the certificate is not one for servers"},
    {X509_V_ERR_CERT_REVOKED, "the certificate is revoked"},
    {X509_V_ERR_EE_KEY_TOO_SMALL, "the certificate's key is too weak"},
    {X509_V_ERR_CA_KEY_TOO_SMALL, "the issuer's key is too weak"},
    {X509_V_ERR_CA_MD_TOO_WEAK, "the certificate's signature is too weak"},
};

struct Alert {
    const char* fragment;
    const char* text;
};

// With TLS 1.3 a server judges the client's certificate after the handshake, and the library tells
// the alert nowhere but in its text.
constexpr Alert ALERTS[] = {
    {"certificate required", "the server requires a client certificate"},
    {"alert unknown ca", "the server does not trust the client certificate"},
    {"alert bad certificate", "the server refused the client certificate"},
    {"alert certificate", "the server refused the client certificate"},
};

std::string broken(CURL* easy, const std::string& detail) {
    for (const Alert& alert : ALERTS) {
        if (detail.find(alert.fragment) != std::string::npos)
            return alert.text;
    }
    long status = 0;
    ::curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    return status == 0 ? "the connection broke before an answer came" : "the answer was cut short";
}

std::string refusedByProxy(long status) {
    return status == 407 ? "the proxy asks for credentials"
                         : "the proxy answered with status " + std::to_string(status);
}

} // namespace

std::string describeFailure(CURL* easy, CURLcode code, const std::string& detail) {
    long proxyStatus = 0;
    ::curl_easy_getinfo(easy, CURLINFO_HTTP_CONNECTCODE, &proxyStatus);
    if (proxyStatus >= 300)
        return refusedByProxy(proxyStatus);
    if (code == CURLE_COULDNT_CONNECT) {
        long error = 0;
        ::curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &error);
        return find(CONNECT, static_cast<int>(error), "no connection to the server");
    }
    if (code == CURLE_PEER_FAILED_VERIFICATION) {
        long result = X509_V_OK;
        ::curl_easy_getinfo(easy, CURLINFO_SSL_VERIFYRESULT, &result);
        return find(VERIFICATION, result, "the certificate is not trusted");
    }
    if (code == CURLE_RECV_ERROR || code == CURLE_SEND_ERROR)
        return broken(easy, detail);
    return find(TRANSFER, code, "the transfer failed");
}

} // namespace http
