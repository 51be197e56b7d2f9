// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IMessageThreadStrategy.h"

#include <memory>

namespace ipc {
class MessageThread;
}

namespace simulator {

/// The message thread of this process's bus clients. Make it before the clients: it ends after
/// them, whatever a task that is still on its way holds on to, and never on itself.
class BusThread {
public:
    BusThread();
    ~BusThread();
    BusThread(const BusThread&) = delete;
    BusThread& operator=(const BusThread&) = delete;

    std::shared_ptr<ipc::IMessageThreadStrategy> strategy() const;

private:
    const std::shared_ptr<ipc::MessageThread> thread_;
};

} // namespace simulator
