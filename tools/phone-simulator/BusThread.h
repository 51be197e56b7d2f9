// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IMessageThreadStrategy.h"

#include <memory>

namespace ipc {
class MessageThread;
}

namespace simulator {

/// The message thread of this process's bus clients. Make it before the clients. It ends after
/// them, even where a waiting task still holds it, and never on its own thread.
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
