// SPDX-License-Identifier: Apache-2.0
#include "TlsWire.h"

#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>

namespace {

struct Free {
    void operator()(SSL_CTX* context) const { ::SSL_CTX_free(context); }
    void operator()(SSL* connection) const { ::SSL_free(connection); }
    void operator()(BIO* bio) const { ::BIO_free(bio); }
    void operator()(X509* certificate) const { ::X509_free(certificate); }
    void operator()(EVP_PKEY* key) const { ::EVP_PKEY_free(key); }
};

void require(bool good, const char* what) {
    if (!good)
        throw std::runtime_error(std::string("TLS: not usable: ") + what);
}

std::unique_ptr<BIO, Free> source(const std::string& text) {
    return std::unique_ptr<BIO, Free>(
        ::BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

std::unique_ptr<X509, Free> certificateOf(const std::string& pem) {
    return std::unique_ptr<X509, Free>(
        ::PEM_read_bio_X509(source(pem).get(), nullptr, nullptr, nullptr));
}

/// The protocol that the settings name, where the client offers it.
int pickProtocol(SSL* /*connection*/, const unsigned char** picked, unsigned char* size,
                 const unsigned char* offered, unsigned int offeredSize, void* protocol) {
    const auto& name = *static_cast<const std::string*>(protocol);
    const std::string item = static_cast<char>(name.size()) + name;
    unsigned char* found = nullptr;
    if (::SSL_select_next_proto(&found, size, reinterpret_cast<const unsigned char*>(item.data()),
                                static_cast<unsigned int>(item.size()), offered,
                                offeredSize) != OPENSSL_NPN_NEGOTIATED)
        return SSL_TLSEXT_ERR_NOACK;
    // Where the client's list holds it, which outlives this call.
    for (const unsigned char* at = offered; at < offered + offeredSize; at += *at + 1) {
        if (std::string(reinterpret_cast<const char*>(at + 1), *at) == name)
            *picked = at + 1;
    }
    return SSL_TLSEXT_ERR_OK;
}

} // namespace

struct TlsWire::Impl {
    std::string protocol;
    std::unique_ptr<SSL_CTX, Free> context{::SSL_CTX_new(::TLS_server_method())};
    std::unique_ptr<SSL, Free> connection;

    void use(const TlsIdentity& identity) const {
        const auto certificate = certificateOf(identity.certificate);
        const std::unique_ptr<EVP_PKEY, Free> key(
            ::PEM_read_bio_PrivateKey(source(identity.key).get(), nullptr, nullptr, nullptr));
        require(::SSL_CTX_use_certificate(context.get(), certificate.get()) == 1 &&
                    ::SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1,
                "certificate and key");
    }

    void trust(const std::string& authority) const {
        const auto certificate = certificateOf(authority);
        require(::X509_STORE_add_cert(::SSL_CTX_get_cert_store(context.get()), certificate.get()) ==
                    1,
                "client authority");
    }
};

TlsWire::TlsWire(Wire& below, const Settings& settings)
    : below_(below), impl_(std::make_unique<Impl>()) {
    SSL_CTX* context = impl_->context.get();
    require(context != nullptr, "context");
    impl_->use(settings.server);
    if (!settings.clientCa.empty())
        impl_->trust(settings.clientCa);
    const int version = settings.version == Version::Tls12 ? TLS1_2_VERSION : TLS1_3_VERSION;
    ::SSL_CTX_set_min_proto_version(context, version);
    ::SSL_CTX_set_max_proto_version(context, version);
    if (settings.client != ClientCertificate::Ignored)
        ::SSL_CTX_set_verify(context,
                             SSL_VERIFY_PEER | (settings.client == ClientCertificate::Required
                                                    ? SSL_VERIFY_FAIL_IF_NO_PEER_CERT
                                                    : 0),
                             nullptr);
    if (!settings.group.empty())
        require(::SSL_CTX_set1_groups_list(context, settings.group.c_str()) == 1, "group");
    if (!settings.protocol.empty()) {
        impl_->protocol = settings.protocol;
        ::SSL_CTX_set_alpn_select_cb(context, pickProtocol, &impl_->protocol);
    }
    impl_->connection.reset(::SSL_new(context));
    require(impl_->connection && ::SSL_set_fd(impl_->connection.get(), below.socket()) == 1,
            "connection");
}

TlsWire::~TlsWire() = default;

bool TlsWire::shakeHands() {
    return ::SSL_accept(impl_->connection.get()) == 1;
}

bool TlsWire::requireClientCertificate() {
    if (!beginToRequireClientCertificate())
        return false;
    // The answer comes with whatever the client sends next.
    std::array<char, 1> nothing{};
    const int code = ::SSL_peek(impl_->connection.get(), nothing.data(), 1);
    return code > 0 || ::SSL_get0_peer_certificate(impl_->connection.get()) != nullptr;
}

bool TlsWire::beginToRequireClientCertificate() {
    SSL* connection = impl_->connection.get();
    ::SSL_set_verify(connection, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    const bool asked = ::SSL_version(connection) == TLS1_3_VERSION
                           ? ::SSL_verify_client_post_handshake(connection) == 1
                           : ::SSL_renegotiate(connection) == 1;
    pollfd answer{socket(), POLLIN, 0};
    return asked && ::SSL_do_handshake(connection) == 1 && ::poll(&answer, 1, -1) == 1;
}

void TlsWire::breakFurtherHandshake() {
    SSL* connection = impl_->connection.get();
    const auto endAfterFinished = [](int sent, int, int type, const void* data, std::size_t,
                                     SSL* of, void*) {
        if (sent == 0 && type == SSL3_RT_HANDSHAKE &&
            *static_cast<const unsigned char*>(data) == SSL3_MT_FINISHED)
            ::shutdown(::SSL_get_fd(of), SHUT_RDWR);
    };
    ::SSL_set_options(connection, SSL_OP_NO_SESSION_RESUMPTION_ON_RENEGOTIATION);
    ::SSL_set_msg_callback(connection, endAfterFinished);
    ::SSL_renegotiate(connection);
    ::SSL_do_handshake(connection);
    receive();
}

void TlsWire::addTicket() {
    ::SSL_new_session_ticket(impl_->connection.get());
}

bool TlsWire::send(const std::string& bytes) {
    return ::SSL_write(impl_->connection.get(), bytes.data(), static_cast<int>(bytes.size())) > 0;
}

std::string TlsWire::receive() {
    std::array<char, 4096> piece{};
    const int size =
        ::SSL_read(impl_->connection.get(), piece.data(), static_cast<int>(piece.size()));
    return size > 0 ? std::string(piece.data(), static_cast<std::size_t>(size)) : std::string();
}

bool TlsWire::hasMore() const {
    return ::SSL_has_pending(impl_->connection.get()) == 1;
}
