// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "NoProxy.h"
#include "http/curl/CurlRestApi.h"
#include "support/http/Nginx.h"
#include "support/http/TestCa.h"
#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

/// The real web client of a phone that trusts one authority.
class TlsFixture : public testing::Test {
protected:
    static constexpr const char* BUNDLE = "/data/certs/ca-bundle.pem";

    TlsFixture() {
        forgetProxies();
        root.write(BUNDLE, ca.certificate());
    }

    ~TlsFixture() override { forgetProxies(); }

    static Nginx::Tls tls(TestIdentity identity) {
        Nginx::Tls result;
        result.server = std::move(identity);
        return result;
    }

    TestIdentity goodIdentity() const {
        return ca.issueServer({"IP:127.0.0.1", "DNS:localhost", "DNS:server.example"});
    }

    Nginx::Tls good() const { return tls(goodIdentity()); }

    http::HttpRequest request(const std::string& url) const {
        http::HttpRequest request;
        request.url = http::UrlInfo(url);
        request.connectTimeout = connectTimeout;
        request.caBundlePath = BUNDLE;
        request.clientIdentity = clientIdentity;
        request.onBody = [](const char*, std::size_t) {
        };
        return request;
    }

    http::HttpResponse get(const std::string& url) { return api.get(request(url)); }

    void installClient(const TestIdentity& identity, const std::string& password = {}) {
        root.write("/data/certs/client/cert.pem", identity.certificate);
        root.write("/data/certs/client/key.pem", identity.key);
        clientIdentity = {"/data/certs/client/cert.pem", "/data/certs/client/key.pem", password};
    }

    PhoneRoot root;
    TestCa ca{"Test CA"};
    TestCa other{"Other CA"};
    std::optional<http::ClientIdentity> clientIdentity;
    std::chrono::milliseconds connectTimeout = std::chrono::seconds(10);
    http::CurlRestApi api;
};
