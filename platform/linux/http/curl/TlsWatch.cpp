// SPDX-License-Identifier: Apache-2.0
#include "TlsWatch.h"

#include <openssl/x509_vfy.h>

namespace http {

namespace {

constexpr unsigned char FIRST_RECORD_TYPE = SSL3_RT_CHANGE_CIPHER_SPEC;
constexpr unsigned char LAST_RECORD_TYPE = SSL3_RT_APPLICATION_DATA;

} // namespace

void TlsWatch::hookInto(CURL* easy) {
    ::curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, &TlsWatch::onContext);
    ::curl_easy_setopt(easy, CURLOPT_SSL_CTX_DATA, this);
}

CURLcode TlsWatch::onContext(CURL* /*easy*/, void* context, void* self) {
    auto* tlsContext = static_cast<SSL_CTX*>(context);
    ::SSL_CTX_set_msg_callback(tlsContext, &TlsWatch::onMessage);
    ::SSL_CTX_set_msg_callback_arg(tlsContext, self);
    return CURLE_OK;
}

void TlsWatch::onMessage(int sent, int /*version*/, int type, const void* data, std::size_t size,
                         SSL* connection, void* self) {
    auto& watch = *static_cast<TlsWatch*>(self);
    const auto* bytes = static_cast<const unsigned char*>(data);
    const bool known = watch.state_.connection == connection;
    if (type == SSL3_RT_HEADER) {
        if (known && sent == 0)
            watch.takeHeader(bytes, size);
        return;
    }
    // Tickets may come at any time, also over the connection to a proxy.
    const bool handshake =
        type == SSL3_RT_HANDSHAKE && size > 0 && bytes[0] != SSL3_MT_NEWSESSION_TICKET;
    const bool alert = type == SSL3_RT_ALERT && size == 2 && bytes[0] == SSL3_AL_FATAL;
    if (!known && (handshake || alert)) {
        watch.state_ = {};
        watch.state_.connection = connection;
    }
    if (handshake)
        watch.takeHandshake(bytes[0]);
    if (alert)
        watch.takeAlert(sent != 0, bytes[1]);
}

/// Called before the library has checked the header.
void TlsWatch::takeHeader(const unsigned char* data, std::size_t size) {
    if (size < 2 || data[0] < FIRST_RECORD_TYPE || data[0] > LAST_RECORD_TYPE ||
        data[1] != SSL3_VERSION_MAJOR)
        state_.foreign = true;
}

void TlsWatch::takeHandshake(int message) {
    switch (message) {
    case SSL3_MT_CLIENT_HELLO:
        state_.finishedToCome = 2;
        break;
    case SSL3_MT_CERTIFICATE_REQUEST:
        state_.askedForCertificate = true;
        break;
    case SSL3_MT_FINISHED:
        --state_.finishedToCome;
        break;
    default:
        break;
    }
}

void TlsWatch::takeAlert(bool sent, int alert) {
    if (!sent) {
        state_.alertReceived = alert;
        return;
    }
    state_.alertSent = alert;
    if (const long result = ::SSL_get_verify_result(state_.connection); result != X509_V_OK)
        state_.certificateProblem = result;
}

} // namespace http
