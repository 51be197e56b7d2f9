// SPDX-License-Identifier: Apache-2.0
#include "ServerChain.h"

#include "paths/Paths.h"
#include "security/openssl/OpenSsl.h"
#include "security/openssl/X509Text.h"

#include <curl/curl.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <new>

namespace ovoctl {

namespace {

using security::OpenSslDeleter;
using security::X509Ptr;

using EasyPtr = std::unique_ptr<CURL, OpenSslDeleter<curl_easy_cleanup>>;
using StorePtr = std::unique_ptr<X509_STORE, OpenSslDeleter<X509_STORE_free>>;
using ContextPtr = std::unique_ptr<X509_STORE_CTX, OpenSslDeleter<X509_STORE_CTX_free>>;

struct FreeStack {
    void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); }
};
using StackPtr = std::unique_ptr<STACK_OF(X509), FreeStack>;

/// Problems by the place of the certificate in the chain; the first of each counts.
using Problems = std::map<int, int>;

template <typename Handle>
Handle* required(Handle* handle) {
    if (handle == nullptr)
        throw std::bad_alloc();
    return handle;
}

void setUp(CURL* easy, const http::UrlInfo& url, const std::optional<http::Proxy>& proxy,
           const std::optional<http::ClientIdentity>& identity, const posix::HostPath& caBundle,
           std::chrono::milliseconds longest) {
    const std::string address = http::withoutCredentials(url).getUrl();
    ::curl_easy_setopt(easy, CURLOPT_URL, address.c_str());
    ::curl_easy_setopt(easy, CURLOPT_CONNECT_ONLY, 1L);
    ::curl_easy_setopt(easy, CURLOPT_CERTINFO, 1L);
    ::curl_easy_setopt(easy, CURLOPT_PROXY, proxy ? proxy->url.c_str() : "");
    ::curl_easy_setopt(easy, CURLOPT_NOPROXY, "");
    // An encrypted proxy may get credentials: it is verified.
    if (!caBundle.text().empty())
        ::curl_easy_setopt(easy, CURLOPT_PROXY_CAINFO, caBundle.c_str());
    ::curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    ::curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(longest.count()));
    ::curl_easy_setopt(easy, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    // Nothing is sent over this connection: the chain is judged below, whatever is wrong with it.
    ::curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 0L);
    ::curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L);
    if (!identity)
        return;
    ::curl_easy_setopt(easy, CURLOPT_SSLCERT, paths::toHost(identity->certificatePath).c_str());
    ::curl_easy_setopt(easy, CURLOPT_SSLKEY, paths::toHost(identity->keyPath).c_str());
    ::curl_easy_setopt(easy, CURLOPT_KEYPASSWD, identity->password.text().c_str());
}

std::vector<X509Ptr> sentTo(CURL* easy) {
    constexpr std::string_view FIELD = "Cert:";
    std::vector<X509Ptr> sent;
    curl_certinfo* info = nullptr;
    if (::curl_easy_getinfo(easy, CURLINFO_CERTINFO, &info) != CURLE_OK || info == nullptr)
        return sent;
    for (int index = 0; index < info->num_of_certs; ++index)
        for (const curl_slist* field = info->certinfo[index]; field != nullptr; field = field->next)
            if (const std::string_view text = field->data; text.starts_with(FIELD))
                for (X509Ptr& certificate : security::x509::parse(text.substr(FIELD.size())))
                    sent.push_back(std::move(certificate));
    return sent;
}

std::string textOf(const X509_NAME* name) {
    const security::BioPtr sink = security::makeSink();
    X509_NAME_print_ex(sink.get(), name, 0, XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB);
    return "\"" + security::contentOf(sink) + "\"";
}

std::string dayOf(const ASN1_TIME* time) {
    std::tm parts{};
    std::array<char, 32> text{};
    if (ASN1_TIME_to_tm(time, &parts) != 1)
        return "?";
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M", &parts);
    return text.data();
}

ChainCertificate describe(const X509* certificate, ChainCertificate::Origin origin) {
    return {textOf(X509_get_subject_name(certificate)),
            textOf(X509_get_issuer_name(certificate)),
            dayOf(X509_get0_notBefore(certificate)),
            dayOf(X509_get0_notAfter(certificate)),
            origin,
            {},
            {}};
}

bool contains(const std::vector<X509Ptr>& certificates, const X509* certificate) {
    return std::any_of(certificates.begin(), certificates.end(), [&](const X509Ptr& other) {
        return X509_cmp(other.get(), certificate) == 0;
    });
}

int goOn(int isGood, X509_STORE_CTX* context) {
    if (isGood == 0) {
        auto* problems = static_cast<Problems*>(X509_STORE_CTX_get_app_data(context));
        problems->emplace(X509_STORE_CTX_get_error_depth(context),
                          X509_STORE_CTX_get_error(context));
    }
    return 1;
}

std::string cureFor(int problem) {
    switch (problem) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return "renew it, or set the phone's clock";
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return "set the clock, the phone's or that of whoever issued it";
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        return {};
    default:
        return "issue the certificate again";
    }
}

bool isForHost(X509* certificate, std::string host) {
    if (host.starts_with('['))
        host = host.substr(1, host.size() - 2);
    return X509_check_ip_asc(certificate, host.c_str(), 0) == 1 ||
           X509_check_host(certificate, host.c_str(), host.size(), 0, nullptr) == 1;
}

ServerChain judge(const std::vector<X509Ptr>& sent, const std::string& host,
                  const posix::HostPath& caBundle) {
    const security::OpenSslErrors errors;
    const StorePtr store(required(X509_STORE_new()));
    // As the web client has it.
    X509_STORE_set_flags(store.get(), X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
    if (!caBundle.text().empty())
        X509_STORE_load_file(store.get(), caBundle.c_str());
    const StackPtr others(required(sk_X509_new_null()));
    for (const X509Ptr& certificate : sent)
        sk_X509_push(others.get(), certificate.get());
    const ContextPtr context(required(X509_STORE_CTX_new()));
    X509_STORE_CTX_init(context.get(), store.get(), sent.front().get(), others.get());
    X509_STORE_CTX_set_default(context.get(), "ssl_server");
    Problems problems;
    X509_STORE_CTX_set_app_data(context.get(), &problems);
    X509_STORE_CTX_set_verify_cb(context.get(), goOn);
    X509_verify_cert(context.get());

    ServerChain chain;
    STACK_OF(X509)* way = X509_STORE_CTX_get0_chain(context.get());
    const int last = sk_X509_num(way) - 1;
    std::vector<const X509*> used;
    for (int depth = 0; depth <= last; ++depth) {
        const X509* certificate = sk_X509_value(way, depth);
        used.push_back(certificate);
        ChainCertificate next =
            describe(certificate, contains(sent, certificate) ? ChainCertificate::Origin::SENT
                                                              : ChainCertificate::Origin::TRUSTED);
        if (const auto found = problems.find(depth); found != problems.end()) {
            next.problem = X509_verify_cert_error_string(found->second);
            next.cure = cureFor(found->second);
        }
        chain.certificates.push_back(std::move(next));
    }
    ChainCertificate& own = chain.certificates.front();
    if (own.problem.empty() && !isForHost(sent.front().get(), host)) {
        own.problem = "it is for another host name than " + host;
        own.cure = "use a name that it is for, or issue it for this one";
    }
    for (const X509Ptr& certificate : sent)
        if (std::none_of(used.begin(), used.end(), [&](const X509* other) {
                return X509_cmp(other, certificate.get()) == 0;
            }))
            chain.certificates.push_back(
                describe(certificate.get(), ChainCertificate::Origin::SURPLUS));
    return chain;
}

} // namespace

ServerChain fetchChain(const http::UrlInfo& url, const std::optional<http::Proxy>& proxy,
                       const std::optional<http::ClientIdentity>& identity,
                       const posix::HostPath& caBundle, std::chrono::milliseconds longest) {
    static const CURLcode READY = ::curl_global_init(CURL_GLOBAL_DEFAULT);
    const EasyPtr easy(READY == CURLE_OK ? ::curl_easy_init() : nullptr);
    required(easy.get());
    setUp(easy.get(), url, proxy, identity, caBundle, longest);
    const CURLcode code = ::curl_easy_perform(easy.get());
    const std::vector<X509Ptr> sent = sentTo(easy.get());
    if (sent.empty())
        return {{},
                code == CURLE_OK ? "the server sent no certificate" : ::curl_easy_strerror(code)};
    return judge(sent, url.host, caBundle);
}

} // namespace ovoctl
