// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Outbox.h"

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace ipc {

/// Messages that were sent and not acknowledged yet, in the order of sending. Not synchronised.
class InFlight {
public:
    bool isEmpty() const { return messages_.empty(); }
    /// Enough messages are in flight to keep a local broker busy; more would only be sent again
    /// when it goes away.
    bool isFull() const;

    void add(int id, OutgoingMessage message);
    /// Removes the message of that id and returns it; none for an unknown id.
    std::optional<OutgoingMessage> acknowledge(int id);
    /// Removes all messages and returns them.
    std::vector<OutgoingMessage> take();

private:
    std::vector<std::pair<int, OutgoingMessage>> messages_;
};

} // namespace ipc
