// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace ipc {

/// The message thread: runs bus requests and posted tasks one at a time, in the order of posting.
class IMessageThreadStrategy {
public:
    virtual ~IMessageThreadStrategy() = default;
    /// Appends a task. Never blocks; any thread, a task on the message thread included. What a task
    /// throws is logged at level 3. After the thread has been stopped tasks are dropped.
    virtual void post(std::function<void()> task) = 0;
};

} // namespace ipc
