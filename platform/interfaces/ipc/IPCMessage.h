#ifndef IPC_IPCMESSAGE_H
#define IPC_IPCMESSAGE_H

#include "ipc/IpcMsgParams.h"

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

} // namespace ipc

#endif
