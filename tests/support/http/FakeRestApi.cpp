// SPDX-License-Identifier: Apache-2.0
#include "FakeRestApi.h"

#include <stdexcept>

namespace {

constexpr const char* ABORTED = "the transfer was aborted";

void report(const http::HttpRequest& request, std::size_t bytes) {
    const auto count = static_cast<std::int64_t>(bytes);
    if (request.onProgress && request.onProgress(count, count) != 0)
        throw std::runtime_error(ABORTED);
}

} // namespace

void FakeRestApi::serve(const std::string& url, const Reply& reply) {
    state_.lock()->replies[url] = reply;
}

void FakeRestApi::serve(const std::string& url, const std::string& content) {
    serve(url, Reply{.content = content});
}

void FakeRestApi::serveEverything(const Reply& reply) {
    state_.lock()->otherwise = reply;
}

void FakeRestApi::hold() {
    state_.lock()->held = true;
}

void FakeRestApi::release() {
    state_.lock()->held = false;
    changed_.notify_all();
}

bool FakeRestApi::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) {
    return state_.lock().waitUntil(changed_, std::chrono::steady_clock::now() + timeout,
                                   [&](const State& state) { return state.requests >= count; });
}

http::HttpResponse FakeRestApi::get(const http::HttpRequest& request) {
    ++state_.lock()->requests;
    changed_.notify_all();
    http::HttpResponse response;
    try {
        const Reply reply = replyTo(request);
        response.status = reply.status;
        response.offersBasic = reply.status == 401;
        response.failure = reply.failure;
        response.location = reply.location;
        if (reply.status == 200 && reply.failure.empty()) {
            report(request, reply.content.size());
            if (request.onLength)
                request.onLength(reply.content.size());
            request.onBody(reply.content.data(), reply.content.size());
        }
    } catch (...) {
        response.failure = ABORTED;
        response.callbackError = std::current_exception();
    }
    return response;
}

/// Once nothing holds it back.
FakeRestApi::Reply FakeRestApi::replyTo(const http::HttpRequest& request) {
    for (;;) {
        report(request, 0);
        auto state = state_.lock();
        const auto again = std::chrono::steady_clock::now() + std::chrono::milliseconds(20);
        if (!state.waitUntil(changed_, again, [](const State& now) { return !now.held; }))
            continue;
        const auto found = state->replies.find(request.url.getUrl());
        return found == state->replies.end() ? state->otherwise : found->second;
    }
}
