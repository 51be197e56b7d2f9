// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <cstddef>
#include <optional>

namespace http {

/// Observes the TLS messages of a session, to tell the cause when a connection fails: libcurl's
/// codes tell too little, and its texts are not meant to be parsed. Of several connections (to a
/// proxy and through it) it knows about the one with the latest handshake. For one thread.
class TlsWatch {
public:
    TlsWatch() = default;
    TlsWatch(const TlsWatch&) = delete;
    TlsWatch& operator=(const TlsWatch&) = delete;

    /// Watches the connections that the handle opens from now on; has to outlive them.
    void hookInto(CURL* easy);
    /// A request begins: forgets the previous one.
    void begin() { state_ = {}; }

    /// A handshake, the first or a later one, has begun and not ended.
    bool isShakingHands() const { return state_.finishedToCome > 0; }
    /// The peer asked for a client certificate.
    bool wasAskedForCertificate() const { return state_.askedForCertificate; }
    /// The peer does not speak TLS.
    bool isForeign() const { return state_.foreign; }
    /// The fatal alert (SSL_AD_...) that the peer sent.
    std::optional<int> alertReceived() const { return state_.alertReceived; }
    /// The fatal alert with which we ended the connection.
    std::optional<int> alertSent() const { return state_.alertSent; }
    /// Why we did not accept the peer's certificate (X509_V_ERR_...); a wrong name is not among the
    /// reasons, because libcurl compares names later.
    std::optional<long> certificateProblem() const { return state_.certificateProblem; }

private:
    struct State {
        const SSL* connection = nullptr;
        bool foreign = false;
        int finishedToCome = 0; ///< messages of that name, one of each side
        bool askedForCertificate = false;
        std::optional<int> alertReceived;
        std::optional<int> alertSent;
        std::optional<long> certificateProblem;
    };

    static CURLcode onContext(CURL* easy, void* context, void* self);
    static void onMessage(int sent, int version, int type, const void* data, std::size_t size,
                          SSL* connection, void* self);
    void takeHeader(const unsigned char* data, std::size_t size);
    void takeHandshake(int message);
    void takeAlert(bool sent, int alert);

    State state_;
};

} // namespace http
