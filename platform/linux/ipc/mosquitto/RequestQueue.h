// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Outbox.h"
#include "ipc/IIPCClient.h"
#include "ipc/IMessageThreadStrategy.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace ipc {

/// A message as it came from the bus.
struct IncomingMessage {
    std::string topic;
    std::string payload;
    std::optional<std::string> responseTopic;
    std::optional<std::string> correlationData;
};

/// Messages on their way from the bus to the message thread, where they are decoded and served one
/// at a time in the order of arrival; the answers go to the outbox. Those that arrive before
/// activate() wait. Bounded: when too many wait, the newest is dropped with a level 2 line. Kept
/// by shared pointers, as the tasks that it posts may outlive its owner. Any thread.
class RequestQueue : public std::enable_shared_from_this<RequestQueue> {
public:
    /// The most messages, and bytes of their parts, that may wait.
    struct Limits {
        std::size_t messages;
        std::size_t bytes;
    };
    /// messageThread is not kept: its own tasks keep the queue, and it must not end on itself.
    RequestQueue(const std::shared_ptr<IMessageThreadStrategy>& messageThread,
                 std::shared_ptr<Outbox> outbox, Limits limits);

    /// A second call throws std::logic_error.
    void activate(HandlersMap handlers, ProceduresMap procedures);
    void arrived(IncomingMessage message);
    /// Serves nothing further. Returns when the handler that runs is done, or at once when it is
    /// that handler that calls.
    void close();

private:
    struct Tables {
        HandlersMap handlers;
        ProceduresMap procedures;
    };
    struct Work {
        IncomingMessage message;
        std::shared_ptr<const Tables> tables;
    };

    bool append(IncomingMessage& message);
    void postServing();
    void serveNext();
    std::optional<Work> begin();
    void finish();
    void serve(const Work& work) const;
    std::optional<IpcMsgParams> run(const Tables& tables, const IPCMessage& request) const;
    void answer(const IncomingMessage& message, const IPCMessage& request,
                IpcMsgParams params) const;

    const std::weak_ptr<IMessageThreadStrategy> messageThread_;
    const std::shared_ptr<Outbox> outbox_;
    const Limits limits_;

    std::mutex mutex_;
    std::condition_variable finished_;
    std::deque<IncomingMessage> messages_;
    std::size_t bytes_ = 0;
    std::shared_ptr<const Tables> tables_; ///< none before activate() and after close()
    bool isActivated_ = false;
    bool isClosed_ = false;
    std::optional<std::thread::id> serving_; ///< the thread on which a handler runs
};

} // namespace ipc
