// SPDX-License-Identifier: Apache-2.0
#include "RecordingApplication.h"
#include "support/http/FaultyServer.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <thread>

namespace {

using namespace std::chrono_literals;

http::HttpRequest requestFor(const FaultyServer& server) {
    http::HttpRequest request;
    request.url.scheme = "http";
    request.url.host = "127.0.0.1";
    request.url.port = server.port();
    request.url.path = "/";
    request.url.fileName = "provisioning.xml";
    request.onBody = [](const char*, std::size_t) {
    };
    request.onProgress = [](std::int64_t, std::int64_t) {
        return 0;
    };
    return request;
}

FaultyServer::Then neverAnswers(FaultyServer::Exchange& exchange) {
    exchange.stall();
    return FaultyServer::Then::Close;
}

class RestApi : public testing::Test {
protected:
    const PhoneRoot phone;
    const LogRecorder log;
};

TEST_F(RestApi, IsOneObjectForAllThreads) {
    RecordingApplication application;
    std::array<std::shared_ptr<http::IRestApi>, 4> found;
    std::array<std::thread, 4> threads;
    for (std::size_t index = 0; index < found.size(); ++index)
        threads[index] = std::thread([&, index] { found[index] = application.getRESTApi(); });
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_NE(found[0], nullptr);
    for (const auto& client : found)
        EXPECT_EQ(client, found[0]);
    EXPECT_EQ(application.getRESTApi(), found[0]);
}

TEST_F(RestApi, ARunningTransferIsAbortedAtTermination) {
    FaultyServer server(neverAnswers);
    RecordingApplication application;
    Execution execution(application);
    ASSERT_TRUE(execution.waitFor("waitForTermination"));

    http::HttpResponse response;
    std::thread transfer([&] { response = application.getRESTApi()->get(requestFor(server)); });
    ASSERT_TRUE(server.waitForRequests(1));
    const auto begin = std::chrono::steady_clock::now();
    application.signalTermination();
    transfer.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    EXPECT_EQ(response.status, 0);
    EXPECT_NE(response.failure, "");
    execution.join();
}

TEST_F(RestApi, ATransferAfterTerminationIsRefused) {
    FaultyServer server(neverAnswers);
    RecordingApplication application;
    const auto client = application.getRESTApi();
    application.signalTermination();
    EXPECT_NE(client->get(requestFor(server)).failure, "");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(RestApi, AClientMadeAfterTerminationRefusesToo) {
    FaultyServer server(neverAnswers);
    RecordingApplication application;
    application.signalTermination();
    EXPECT_NE(application.getRESTApi()->get(requestFor(server)).failure, "");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(RestApi, ADnsCacheTimeoutThatIsNoNumberIsALine) {
    phone.write("/etc/phoneconfig.json", R"({"networking.curl.DnsCacheTimeout": "soon"})");
    RecordingApplication application;
    application.setupPhoneConfig();
    application.onCurlDnsCacheTimeoutChanged();
    EXPECT_TRUE(log.has(2, "Phone configuration networking.curl.DnsCacheTimeout is not a number of "
                           "seconds and is ignored"));
}

/// Notes what the framework tells the web client.
struct RecordingRestApi : http::IRestApi {
    http::HttpResponse get(const http::HttpRequest&) override { return {}; }
    void shutdown() noexcept override {}
    void proxyChanged() override { ++proxyChanges; }
    void setDnsCacheTimeout(std::chrono::seconds timeout) override { dnsCacheTimeout = timeout; }

    int proxyChanges = 0;
    std::chrono::seconds dnsCacheTimeout{-1};
};

struct ApplicationWithClient : RecordingApplication {
    std::shared_ptr<http::IRestApi> getRESTApi() override { return client; }
    const std::shared_ptr<RecordingRestApi> client = std::make_shared<RecordingRestApi>();
};

TEST_F(RestApi, LearnsOfProxyAndDnsChanges) {
    phone.write("/etc/phoneconfig.json", R"({"networking.curl.DnsCacheTimeout": "45"})");
    ApplicationWithClient application;
    application.setupPhoneConfig();
    application.onProxyChanged();
    EXPECT_EQ(application.client->proxyChanges, 1);
    application.onCurlDnsCacheTimeoutChanged();
    EXPECT_EQ(application.client->dnsCacheTimeout, 45s);
}

TEST_F(RestApi, KeepsItsDnsTimeoutWhereNoneIsConfigured) {
    ApplicationWithClient application;
    application.onCurlDnsCacheTimeoutChanged();
    application.setupPhoneConfig();
    application.onCurlDnsCacheTimeoutChanged();
    EXPECT_EQ(application.client->dnsCacheTimeout, -1s);
}

} // namespace
