// SPDX-License-Identifier: Apache-2.0
#include "TestProxy.h"

#include <utility>

TestProxy::TestProxy(Settings settings)
    : settings_(std::move(settings)), server_([this](Wire& client, int) { serve(client); }) {}

std::vector<std::string> TestProxy::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

void TestProxy::serve(Wire& client) {
    if (!settings_.tls) {
        if (serveRequest(client))
            makeTunnel(client);
        return;
    }
    TlsWire encrypted(client, *settings_.tls);
    if (!encrypted.shakeHands() || !serveRequest(encrypted))
        return;
    encrypted.addTicket(); // amid the handshake with the server
    makeTunnel(encrypted);
}

bool TestProxy::serveRequest(Wire& client) {
    const std::string request = client.receiveUntil("\r\n\r\n");
    if (request.empty())
        return false;
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
    }
    client.send(settings_.answer);
    return settings_.answer.find(" 200 ") != std::string::npos;
}

void TestProxy::makeTunnel(Wire& client) const {
    ClientWire server(settings_.target);
    if (server.socket() >= 0)
        relay(client, server);
}
