// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IpcMsgParams.h"

#include <cstddef>
#include <string>
#include <utility>

namespace ipc {

/// A bus message. flag true: the sender expects an answer.
struct IPCMessage {
    explicit IPCMessage(std::string messageName, IpcMsgParams parameters = {},
                        bool answerExpected = false)
        : name(std::move(messageName)), params(std::move(parameters)), flag(answerExpected) {}

    std::string name;
    IpcMsgParams params;
    bool flag;

    bool operator==(const IPCMessage& other) const = default;
};

/// Largest payload of a message, in bytes, in either direction. A larger one is dropped.
inline constexpr std::size_t LARGEST_PAYLOAD = 64UL * 1024UL;

/// The payload of a message: its JSON object, in ASCII on one line.
std::string encode(const IPCMessage& message);

} // namespace ipc
