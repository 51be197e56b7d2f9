// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace ipc {

/// Where the broker listens.
struct BusAddress {
    /// Takes "unix:PATH" or "tcp:HOST:PORT" apart; an IPv6 host stands in brackets. Anything else
    /// throws std::runtime_error that names the text and what is wrong with it.
    static BusAddress parse(const std::string& text);

    bool isUnix() const { return port == 0; }

    std::string text; ///< as it was given
    std::string host; ///< the path of a Unix socket; a host's name or number without brackets
    int port;         ///< 0: a Unix socket
};

} // namespace ipc
