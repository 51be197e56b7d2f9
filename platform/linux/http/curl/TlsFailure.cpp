// SPDX-License-Identifier: Apache-2.0
#include "TlsFailure.h"

#include "Clause.h"

#include <openssl/x509_vfy.h>

namespace http {

namespace {

constexpr const char* VERSION = "the TLS handshake with @ failed (TLS 1.2 or newer is needed)";
constexpr const char* REFUSED = "@ refused the handshake (it may require a client certificate)";

constexpr Clause<int> ALERTS[] = {
    {SSL_AD_PROTOCOL_VERSION, VERSION},
    {SSL_AD_CERTIFICATE_REQUIRED, "@ requires a client certificate"},
    {SSL_AD_UNRECOGNIZED_NAME, "@ does not know this host name"},
};

/// From a peer that was offered a client certificate.
constexpr Clause<int> ALERTS_ABOUT_CERTIFICATE[] = {
    {SSL_AD_UNKNOWN_CA, "@ does not trust the client certificate"},
    {SSL_AD_CERTIFICATE_EXPIRED, "to @ the client certificate has expired"},
    {SSL_AD_CERTIFICATE_REVOKED, "to @ the client certificate is revoked"},
    {SSL_AD_BAD_CERTIFICATE, "@ refused the client certificate"},
    {SSL_AD_UNSUPPORTED_CERTIFICATE, "@ refused the client certificate"},
    {SSL_AD_CERTIFICATE_UNKNOWN, "@ refused the client certificate"},
    {SSL_AD_ACCESS_DENIED, "@ refused the client certificate"},
};

/// Those with which we ended the handshake.
constexpr Clause<int> OWN_ALERTS[] = {
    {SSL_AD_PROTOCOL_VERSION, VERSION},
    {SSL_AD_HANDSHAKE_FAILURE, "the TLS of @ is too weak"},
    {SSL_AD_INSUFFICIENT_SECURITY, "the TLS of @ is too weak"},
};

constexpr Clause<long> VERIFICATION[] = {
    {X509_V_ERR_CERT_HAS_EXPIRED, "% has expired"},
    {X509_V_ERR_CERT_NOT_YET_VALID, "% is not valid yet"},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, "% has an unknown issuer"},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, "% has an unknown issuer"},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, "% has an unknown issuer"},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, "% has an unknown issuer"},
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, "% is self-signed and not trusted"},
    {X509_V_ERR_CERT_SIGNATURE_FAILURE, "% has a wrong signature"},
    {X509_V_ERR_INVALID_CA, "% was issued by one that may not issue any"},
    {X509_V_ERR_PATH_LENGTH_EXCEEDED, "% was issued by one that may not issue any"},
    {X509_V_ERR_INVALID_PURPOSE, "% is not one for servers"},
    {X509_V_ERR_CERT_REVOKED, "% is revoked"},
    {X509_V_ERR_EE_KEY_TOO_SMALL, "% has a key that is too weak"},
    {X509_V_ERR_CA_KEY_TOO_SMALL, "% was issued with a key that is too weak"},
    {X509_V_ERR_CA_MD_TOO_WEAK, "% has a signature that is too weak"},
};

} // namespace

const char* describeHandshake(const TlsWatch& tls, bool offered) {
    const char* text = nullptr;
    if (const auto problem = tls.certificateProblem()) {
        text = find(VERIFICATION, *problem);
        if (text == nullptr)
            text = "% is not trusted";
    } else if (const auto alert = tls.alertReceived()) {
        text = find(ALERTS, *alert);
        if (text == nullptr && offered)
            text = find(ALERTS_ABOUT_CERTIFICATE, *alert);
    } else if (tls.isForeign()) {
        text = "@ does not speak TLS";
    } else if (const auto ownAlert = tls.alertSent()) {
        text = find(OWN_ALERTS, *ownAlert);
        if (text == nullptr)
            text = "the TLS of @ is faulty";
    }
    return text == nullptr ? REFUSED : text;
}

} // namespace http
