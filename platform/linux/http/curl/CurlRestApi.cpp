// SPDX-License-Identifier: Apache-2.0
#include "CurlRestApi.h"

#include "CurlSession.h"
#include "TlsFiles.h"
#include "common/Guarded.h"
#include "text/Ascii.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <utility>
#include <vector>

namespace http {

namespace {

constexpr std::size_t KEPT_SESSIONS = 4;
constexpr std::int64_t DNS_CACHE_SECONDS = 60;

/// At the first request: the library takes megabytes of memory that a phone without provisioning
/// does not need.
void initialiseLibrary() {
    static const CURLcode done = ::curl_global_init(CURL_GLOBAL_DEFAULT);
    if (done != CURLE_OK)
        throw std::runtime_error("The HTTP library cannot be initialised");
}

HttpResponse failed(std::string cause) {
    HttpResponse response;
    response.failure = std::move(cause);
    return response;
}

} // namespace

struct CurlRestApi::Impl {
    using Session = std::unique_ptr<CurlSession>;

    struct Pool {
        std::vector<Session> idle;   ///< the one given back last is last
        unsigned int generation = 0; ///< sessions of an earlier one are not used again
    };

    static std::optional<TlsFiles> tlsFiles(const HttpRequest& request, const Route& route);
    Session takeIdle(const TlsFiles::Fingerprint& fingerprint, unsigned int& generation,
                     std::vector<Session>& outdated);
    Session take(const TlsFiles::Fingerprint& fingerprint, unsigned int& generation);
    void giveBack(Session&& session, unsigned int generation);

    std::atomic<bool> ending{false}; ///< running requests look at it about once a second
    std::atomic<std::int64_t> dnsCacheSeconds{DNS_CACHE_SECONDS};
    common::Guarded<Pool> pool;
};

/// Throws std::runtime_error where there are none, unless nothing on the way is encrypted.
std::optional<TlsFiles> CurlRestApi::Impl::tlsFiles(const HttpRequest& request,
                                                    const Route& route) {
    try {
        return TlsFiles::of(request, route.encrypted);
    } catch (const std::runtime_error&) {
        if (route.encrypted || (route.proxy && route.proxy->kind == Proxy::Kind::Https))
            throw;
        return std::nullopt;
    }
}

/// The idle session given back last; nothing when there is none. Sessions whose connections were
/// verified with other TLS files are handed out to be ended, which is done without the lock.
CurlRestApi::Impl::Session CurlRestApi::Impl::takeIdle(const TlsFiles::Fingerprint& fingerprint,
                                                       unsigned int& generation,
                                                       std::vector<Session>& outdated) {
    const auto locked = pool.lock();
    generation = locked->generation;
    std::vector<Session>& idle = locked->idle;
    const auto firstOutdated =
        std::stable_partition(idle.begin(), idle.end(), [&](const Session& candidate) {
            return candidate->fingerprint().empty() || candidate->fingerprint() == fingerprint;
        });
    std::move(firstOutdated, idle.end(), std::back_inserter(outdated));
    idle.erase(firstOutdated, idle.end());
    if (idle.empty())
        return nullptr;
    Session session = std::move(idle.back());
    idle.pop_back();
    return session;
}

CurlRestApi::Impl::Session CurlRestApi::Impl::take(const TlsFiles::Fingerprint& fingerprint,
                                                   unsigned int& generation) {
    std::vector<Session> outdated;
    Session session = takeIdle(fingerprint, generation, outdated);
    if (session)
        return session;
    initialiseLibrary();
    return std::make_unique<CurlSession>();
}

void CurlRestApi::Impl::giveBack(Session&& session, unsigned int generation) {
    Session surplus; // ended without the lock
    const auto locked = pool.lock();
    if (generation != locked->generation || ending) {
        surplus = std::move(session);
        return;
    }
    locked->idle.push_back(std::move(session));
    if (locked->idle.size() > KEPT_SESSIONS) {
        surplus = std::move(locked->idle.front());
        locked->idle.erase(locked->idle.begin());
    }
}

CurlRestApi::CurlRestApi() : impl_(std::make_unique<Impl>()) {}

CurlRestApi::~CurlRestApi() = default;

HttpResponse CurlRestApi::get(const HttpRequest& request) {
    const bool encrypted = ascii::equalsIgnoringCase(request.url.scheme, "https");
    if (!encrypted && !ascii::equalsIgnoringCase(request.url.scheme, "http"))
        return failed("only http and https are supported");
    Route route;
    route.encrypted = encrypted;
    std::optional<TlsFiles> files;
    try {
        route.proxy = Proxy::of(request.url);
        files = Impl::tlsFiles(request, route);
    } catch (const std::runtime_error& error) {
        return failed(error.what());
    }
    route.offersClientCertificate = files && files->offersClientCertificate();
    if (impl_->ending)
        return failed("the process is ending");
    unsigned int generation = 0;
    Impl::Session session =
        impl_->take(files ? files->fingerprint : TlsFiles::Fingerprint(), generation);
    HttpResponse response = session->perform(
        request, route, files, std::chrono::seconds(impl_->dnsCacheSeconds), impl_->ending);
    impl_->giveBack(std::move(session), generation);
    return response;
}

void CurlRestApi::shutdown() noexcept {
    impl_->ending = true;
}

void CurlRestApi::proxyChanged() {
    // Proxy::of() reads the environment at each request; connections over the old proxy are closed.
    std::vector<Impl::Session> outdated; // ended without the lock
    const auto pool = impl_->pool.lock();
    ++pool->generation;
    outdated.swap(pool->idle);
}

void CurlRestApi::setDnsCacheTimeout(std::chrono::seconds timeout) {
    impl_->dnsCacheSeconds = timeout.count();
}

} // namespace http
