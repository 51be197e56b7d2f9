// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>

/// A web server on a free loopback port that takes connections and never answers.
class SilentServer {
public:
    SilentServer();
    ~SilentServer();
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;

    std::uint16_t port() const { return port_; }
    /// Waits until a client has connected and sent something.
    bool waitForRequest(std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
    /// True when a client has connected since the last waitForRequest().
    bool wasReached() const;

private:
    int listener_;
    mutable int connection_ = -1;
    std::uint16_t port_ = 0;
};
