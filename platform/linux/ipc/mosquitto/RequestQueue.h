// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Outbox.h"
#include "common/Guarded.h"
#include "ipc/IIPCClient.h"
#include "ipc/IMessageThreadStrategy.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
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

/// Messages on their way from the bus to the message thread, which decodes and serves them one at a
/// time in the order of arrival; the answers go to the outbox. Messages that arrive before
/// activate() wait. Bounded: when too many wait, the newest is dropped with a level 2 line. Held by
/// shared pointers, because the tasks that it posts may outlive its owner. Any thread.
class RequestQueue : public std::enable_shared_from_this<RequestQueue> {
public:
    /// How many messages, and bytes of their parts, may wait.
    struct Limits {
        std::size_t messages;
        std::size_t bytes;
    };
    /// messageThread is not kept alive: its tasks keep the queue alive, and it must not be
    /// destroyed by one of them.
    RequestQueue(const std::shared_ptr<IMessageThreadStrategy>& messageThread,
                 std::shared_ptr<Outbox> outbox, Limits limits);

    /// A second call throws std::logic_error.
    void activate(HandlersMap handlers, ProceduresMap procedures);
    void arrived(IncomingMessage message);
    /// Serves nothing further. Returns when the running handler is done; called by that handler, at
    /// once.
    void stop();

private:
    struct Tables {
        HandlersMap handlers;
        ProceduresMap procedures;
    };
    struct Work {
        IncomingMessage message;
        std::shared_ptr<const Tables> tables;
    };

    struct State {
        std::deque<IncomingMessage> messages;
        std::size_t bytes = 0;
        std::shared_ptr<const Tables> tables; ///< none before activate() and after stop()
        bool isActivated = false;
        bool isStopped = false;
        std::optional<std::thread::id> serving; ///< the thread on which a handler runs
    };

    std::optional<IncomingMessage> append(IncomingMessage message);
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
    common::Guarded<State> state_;
    std::condition_variable finished_;
};

} // namespace ipc
