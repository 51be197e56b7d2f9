// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "HttpServer.h"
#include "Script.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace faults {

/// A web server on the loopback interface that gives the answers of a script, from its constructor
/// to its destructor.
class FaultServer {
public:
    /// A line for each request, before it is answered. On any thread, more than one at a time.
    using Log = std::function<void(const std::string& line)>;

    /// port: 0 for a free one. Throws std::system_error.
    explicit FaultServer(std::vector<Answer> answers, Log log = {}, std::uint16_t port = 0,
                         std::optional<TlsWire::Settings> tls = std::nullopt);

    std::string url(const std::string& target = "") const { return server_.url(target); }

private:
    HttpServer::Then serve(HttpServer::Exchange& exchange);

    Script script_;
    const Log log_;
    HttpServer server_; ///< the first to go
};

} // namespace faults
