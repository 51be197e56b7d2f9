// SPDX-License-Identifier: Apache-2.0
#include "FaultyServer.h"

#include "support/process/WaitUntil.h"

#include <utility>

FaultyServer::FaultyServer(Handler handler)
    : handler_(std::move(handler))
    , server_([this](Exchange& exchange) { return keepAndAnswer(exchange); }) {}

FaultyServer::Then FaultyServer::keepAndAnswer(Exchange& exchange) {
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(exchange.request());
    }
    return handler_(exchange);
}

std::vector<FaultyServer::Request> FaultyServer::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

bool FaultyServer::waitForRequests(std::size_t count) const {
    return waitUntil([&] { return requests().size() >= count; });
}

std::string answer(int status, const std::string& body, const std::string& headers) {
    return "HTTP/1.1 " + std::to_string(status) + " Test\r\n" + headers +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}
