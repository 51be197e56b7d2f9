// SPDX-License-Identifier: Apache-2.0
#include "HttpAnswer.h"

#include "Examination.h"
#include "TlsChecks.h"
#include "Vocabulary.h"
#include "http/curl/CurlRestApi.h"
#include "http/downloader/CredentialsSources.h"

#include <chrono>
#include <exception>
#include <memory>

namespace ovoctl {

namespace {

namespace keys = ovo::keys;

constexpr int UNAUTHORIZED = 401;

/// Ends a request: the rest of the answer is of no interest.
class Enough : public std::exception {};

/// The phone's stored credentials for reading, and which were asked for last.
class StoredCredentials final : public http::ICredentialsProvider {
public:
    explicit StoredCredentials(const Examination& examination) : examination_(examination) {}

    std::string getHttpCredentials() override {
        source_ = "the stored credentials";
        return both(keys::HTTP_USER, keys::HTTP_PASSWORD);
    }
    std::string getFactoryCredentials() override {
        source_ = "the factory credentials";
        return both(keys::FACTORY_USER, keys::FACTORY_PASSWORD);
    }
    std::string getHttpCredentialsFromPhoneUI() override { return {}; }
    void credentialsProvided(const std::string&) override {}
    bool getIsWaitingForCredentials() override { return false; }
    void saveHttpCredentials(const std::string&, const std::string&) override {}

    const std::string& source() const { return source_; }

private:
    std::string both(const char* userKey, const char* passwordKey) const {
        return examination_.property(userKey) + ":" + examination_.property(passwordKey);
    }

    const Examination& examination_;
    std::string source_ = "the credentials in the URL";
};

http::HttpRequest requestFor(const Examination& examination,
                             std::chrono::steady_clock::time_point deadline) {
    http::HttpRequest request;
    request.url = http::withoutCredentials(*examination.url);
    request.caBundlePath = CA_BUNDLE;
    request.clientIdentity = examination.clientIdentity;
    request.connectTimeout = Examination::TIME_LIMIT;
    request.stallTimeout = Examination::TIME_LIMIT;
    request.onBody = [](const char*, std::size_t) {
        throw Enough();
    };
    request.onProgress = [deadline](std::int64_t, std::int64_t) {
        return std::chrono::steady_clock::now() < deadline ? 0 : 1;
    };
    return request;
}

} // namespace

HttpAnswer askServer(const Examination& examination) {
    const auto deadline = std::chrono::steady_clock::now() + Examination::TIME_LIMIT;
    const auto provider = std::make_shared<StoredCredentials>(examination);
    http::CredentialsSources sources(*examination.url, provider);
    http::CurlRestApi client;
    http::HttpRequest request = requestFor(examination, deadline);
    std::string used;
    for (;;) {
        const http::HttpResponse response = client.get(request);
        HttpAnswer answer{response.status,
                          response.callbackError ? "" : response.failure,
                          response.location,
                          response.offersBasic,
                          response.offersDigest,
                          {},
                          {}};
        if (response.status == 0 && std::chrono::steady_clock::now() >= deadline)
            answer.problem = "the server does not answer in time";
        if (response.status != UNAUTHORIZED) {
            answer.accepted = used;
            return answer;
        }
        answer.refused = used;
        const bool hasScheme = response.offersBasic || response.offersDigest;
        const auto next = hasScheme ? sources.next() : std::nullopt;
        if (!next)
            return answer;
        used = provider->source();
        request.auth = response.offersDigest ? http::AuthScheme::Digest : http::AuthScheme::Basic;
        request.user = next->user;
        request.password = next->password;
    }
}

} // namespace ovoctl
