// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <system_error>

namespace systemd {

/// Sends one datagram to a listening Unix socket, as systemd's notification and journal protocols
/// require. Both protocols are stable and short; systemd's client library would load six others.
///
/// socket: a path of the machine, not below the phone's root, or @ and an abstract name. Any
/// thread. A receiver that does not read is waited for half a second.
std::error_code sendDatagram(std::string_view socket, std::string_view content) noexcept;

} // namespace systemd
