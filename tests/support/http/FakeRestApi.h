// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Guarded.h"
#include "http/IRestApi.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <string>

/// A web client without a network: the test says what each URL gives. Any other URL answers with
/// status 404. Any thread.
class FakeRestApi : public http::IRestApi {
public:
    struct Reply {
        int status = 200; ///< 0: none arrives
        std::string content = {};
        std::string failure = {};  ///< not empty: the request fails with this cause
        std::string location = {}; ///< target of a redirect
    };

    void serve(const std::string& url, const Reply& reply);
    void serve(const std::string& url, const std::string& content);
    /// The reply to every URL of which nothing was said.
    void serveEverything(const Reply& reply);

    /// From now on requests do not end before release(), or before their progress callback aborts
    /// them; it is called again and again meanwhile.
    void hold();
    void release();

    bool waitForRequests(std::size_t count,
                         std::chrono::milliseconds timeout = std::chrono::seconds(20));

    http::HttpResponse get(const http::HttpRequest& request) override;
    void shutdown() noexcept override {}
    void proxyChanged() override {}
    void setDnsCacheTimeout(std::chrono::seconds) override {}

private:
    struct State {
        std::map<std::string, Reply> replies;
        Reply otherwise{404, {}, {}, {}};
        std::size_t requests = 0;
        bool held = false;
    };

    Reply replyTo(const http::HttpRequest& request);

    common::Guarded<State> state_;
    std::condition_variable changed_;
};
