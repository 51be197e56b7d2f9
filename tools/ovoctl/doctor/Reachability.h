// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace ovoctl {

/// An address of a host with its port.
struct SocketAddress {
    sockaddr_storage address{};
    socklen_t size = 0;

    /// The number, without the port.
    std::string text() const;
};

struct NameLookup {
    std::vector<SocketAddress> addresses;
    std::string problem; ///< empty: there are addresses
};

/// The addresses of a host, by name or number (IPv6 without brackets). Returns in time, whatever
/// the name service does.
NameLookup lookUp(const std::string& host, std::uint16_t port, std::chrono::milliseconds longest);

/// Makes a connection and ends it: empty, or why that is not possible in time.
std::string whyUnreachable(const SocketAddress& address, std::chrono::milliseconds longest);

} // namespace ovoctl
