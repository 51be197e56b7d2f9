// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fault-server/RawServer.h"
#include "fault-server/TlsWire.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// An HTTP proxy for encrypted connections: makes a tunnel to one port of the loopback interface,
/// whatever host it is asked for.
class TestProxy {
public:
    struct Settings {
        std::uint16_t target = 0;
        std::optional<TlsWire::Settings> tls;           ///< set: the way to the proxy is encrypted
        std::string answer = "HTTP/1.1 200 OK\r\n\r\n"; ///< to CONNECT; a tunnel only for a 200
    };

    explicit TestProxy(Settings settings);

    std::uint16_t port() const { return server_.port(); }
    /// For the environment.
    std::string url() const { return server_.url(settings_.tls ? "https" : "http", ""); }
    /// The headers of the requests so far.
    std::vector<std::string> requests() const;

private:
    void serve(Wire& client);
    /// True when the client is to have its tunnel.
    bool serveRequest(Wire& client);
    void makeTunnel(Wire& client) const;

    Settings settings_;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    RawServer server_; ///< the first to go
};
