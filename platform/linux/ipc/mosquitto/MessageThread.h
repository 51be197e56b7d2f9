// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IMessageThreadStrategy.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace ipc {

/// The message thread as one thread and a queue. It sleeps while there is nothing to do, and holds
/// no lock while a task runs or is destroyed.
class MessageThread : public IMessageThreadStrategy {
public:
    MessageThread();
    /// stop()
    ~MessageThread() override;
    MessageThread(const MessageThread&) = delete;
    MessageThread& operator=(const MessageThread&) = delete;

    void post(std::function<void()> task) override;

    /// Lets the running task finish, drops those that wait (one level 2 line when there are any)
    /// and joins. Idempotent; every caller returns after the end. Any thread but the message thread
    /// itself, which cannot wait for its own end: throws std::logic_error there.
    void stop();

private:
    void run();
    std::optional<std::function<void()>> next();
    void end();

    std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<std::function<void()>> tasks_;
    bool isStopping_ = false;
    std::once_flag ended_;
    std::thread thread_;
};

} // namespace ipc
