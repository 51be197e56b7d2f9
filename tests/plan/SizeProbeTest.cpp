// SPDX-License-Identifier: Apache-2.0
#include "ovoctl/plan/SizeProbe.h"

#include "http/curl/CurlRestApi.h"
#include "support/http/FaultyServer.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Exchange = FaultyServer::Exchange;
using Then = FaultyServer::Then;

const std::string BODY(1000, 'x');

class SizeProbeTest : public testing::Test {
protected:
    SizeProbeTest()
        : server([](Exchange& exchange) {
            if (exchange.request().target == "/told")
                exchange.send(answer(200, BODY));
            else
                exchange.send("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + BODY);
            return Then::Close;
        }) {}

    http::HttpResponse get(const std::string& target) {
        http::HttpRequest request;
        request.url = http::UrlInfo(server.url(target));
        request.onLength = [this](std::uint64_t length) {
            if (length > mostOfTheCaller)
                throw std::runtime_error("too large for the caller");
        };
        request.onBody = [this](const char*, std::size_t size) {
            received += size;
        };
        return probe.get(request);
    }

    FaultyServer server;
    ovoctl::SizeProbe probe{std::make_shared<http::CurlRestApi>()};
    std::uint64_t mostOfTheCaller = 1U << 20U;
    std::size_t received = 0;
};

TEST_F(SizeProbeTest, BreaksOffWhatIsLargerBeforeItsBody) {
    probe.limitTo(999);
    EXPECT_FALSE(get("/told").failure.empty());
    EXPECT_TRUE(probe.hasBrokenOff());
    EXPECT_EQ(probe.size(), 1000U);
    EXPECT_EQ(received, 0U);
}

TEST_F(SizeProbeTest, LetsThroughWhatIsNot) {
    probe.limitTo(1000);
    for (const char* target : {"/told", "/untold"}) {
        EXPECT_EQ(get(target).failure, "") << target;
        EXPECT_FALSE(probe.hasBrokenOff());
    }
    EXPECT_EQ(received, 2000U);
    probe.limitTo(std::nullopt);
    EXPECT_EQ(get("/told").failure, "");
}

TEST_F(SizeProbeTest, BreaksOffABodyWhoseLengthNobodyTold) {
    probe.limitTo(999);
    EXPECT_FALSE(get("/untold").failure.empty());
    EXPECT_TRUE(probe.hasBrokenOff());
    EXPECT_EQ(probe.size(), std::nullopt);
}

TEST_F(SizeProbeTest, WhatTheCallerRefusesIsNotBrokenOff) {
    probe.limitTo(999);
    mostOfTheCaller = 10;
    EXPECT_FALSE(get("/told").failure.empty());
    EXPECT_FALSE(probe.hasBrokenOff());
}

TEST_F(SizeProbeTest, EachLimitBeginsAnew) {
    probe.limitTo(1);
    get("/told");
    probe.limitTo(1);
    EXPECT_FALSE(probe.hasBrokenOff());
    EXPECT_EQ(probe.size(), std::nullopt);
}

} // namespace
