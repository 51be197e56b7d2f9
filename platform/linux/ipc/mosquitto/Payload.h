#ifndef IPC_PAYLOAD_H
#define IPC_PAYLOAD_H

#include "ipc/IPCMessage.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace ipc {

/// Largest payload of a bus message, in bytes, in either direction.
inline constexpr std::size_t LARGEST_PAYLOAD = 64UL * 1024UL;
/// Deepest nesting of a payload; the message's own object is level 1.
inline constexpr std::size_t DEEPEST_NESTING = 32;

/// The JSON object of a message, in ASCII on one line.
std::string encode(const IPCMessage& message);

/// The message in a payload. "parameters" that is missing counts as empty, "flag" that is missing
/// as false. A payload that is no bus message throws std::runtime_error, whose text says why and
/// quotes nothing of it: parameters may be secret.
IPCMessage decode(std::string_view payload);

} // namespace ipc

#endif
