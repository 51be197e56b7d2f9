// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <cstddef>
#include <optional>

namespace http {

/// Looks on at the encrypted connections of a session, for the cause when one fails: libcurl's
/// codes tell too little and its texts are not made to be read by programs. Of several connections
/// (to a proxy and through it) it knows about the one that shook hands last. For one thread.
class TlsWatch {
public:
    TlsWatch() = default;
    TlsWatch(const TlsWatch&) = delete;
    TlsWatch& operator=(const TlsWatch&) = delete;

    /// Watches the connections that the handle opens from now on; has to outlive them.
    void hookInto(CURL* easy);
    /// A request begins: what was before does not count.
    void begin() { state_ = {}; }

    /// A handshake, a later one too, has begun and not come to its end.
    bool isShakingHands() const { return state_.finishedToCome > 0; }
    /// The peer wanted to see a client certificate.
    bool wasAskedForCertificate() const { return state_.askedForCertificate; }
    /// What the peer sent is not TLS.
    bool isForeign() const { return state_.foreign; }
    /// The fatal alert (SSL_AD_...) that the peer sent.
    std::optional<int> alertReceived() const { return state_.alertReceived; }
    /// The fatal alert with which we ended the connection.
    std::optional<int> alertSent() const { return state_.alertSent; }
    /// Why we did not accept the peer's certificate (X509_V_ERR_...), names apart: they are
    /// compared later, and by libcurl.
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
