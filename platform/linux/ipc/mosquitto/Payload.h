// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IPCMessage.h"

#include <cstddef>
#include <string_view>

namespace ipc {

/// Deepest nesting of a payload; the message's own object is level 1.
inline constexpr std::size_t DEEPEST_NESTING = 32;

/// The message in a payload. "parameters" that is missing counts as empty, "flag" that is missing
/// as false. Another payload throws std::runtime_error, whose text says why it is not a bus message
/// and quotes nothing of it: parameters may be secret.
IPCMessage decode(std::string_view payload);

} // namespace ipc
