// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Wire.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// A TCP server on the loopback interface that does with its connections what its owner wants.
/// Blocking, a thread a connection; all connections are ended, and all threads joined, when the
/// object goes.
class RawServer {
public:
    /// number: 1 for the first connection, and so on. The connection ends when the handler returns.
    using Handler = std::function<void(Wire& wire, int number)>;

    /// port: 0 for a free one. Throws std::system_error when it is taken.
    explicit RawServer(Handler handler, std::uint16_t port = 0);
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    std::uint16_t port() const;
    /// "SCHEME://127.0.0.1:PORT" and the target.
    std::string url(const std::string& scheme, const std::string& target = "/") const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
