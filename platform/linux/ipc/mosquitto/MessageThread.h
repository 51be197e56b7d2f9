// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Guarded.h"
#include "ipc/IMessageThreadStrategy.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace ipc {

/// The message thread as one thread and a queue. It sleeps while there is nothing to do. No lock is
/// held while a task runs or is destroyed.
class MessageThread : public IMessageThreadStrategy {
public:
    MessageThread();
    /// stop()
    ~MessageThread() override;
    MessageThread(const MessageThread&) = delete;
    MessageThread& operator=(const MessageThread&) = delete;

    void post(std::function<void()> task) override;

    /// Lets the running task finish, drops the waiting ones (with one level 2 line where there are
    /// any) and joins the thread. Idempotent; every caller returns after the end. Throws
    /// std::logic_error on the message thread itself, which cannot wait for its own end.
    void stop();

private:
    using Task = std::function<void()>;

    struct Queue {
        std::deque<Task> tasks;
        bool isStopped = false;
    };

    void run();
    std::optional<Task> next();
    void end();

    common::Guarded<Queue> queue_;
    std::condition_variable changed_;
    std::once_flag ended_;
    std::thread thread_;
};

} // namespace ipc
