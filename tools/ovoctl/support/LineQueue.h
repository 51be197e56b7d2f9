// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Guarded.h"
#include "posix/WakeUp.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <string>

namespace ovoctl {

/// Lines on their way from the threads where they come up to the one that prints them. Bounded:
/// whoever adds a line waits while too many wait.
class LineQueue {
public:
    /// limit: how many lines wait at most.
    explicit LineQueue(std::size_t limit) : limit_(limit) {}

    /// Any thread. Drops the line once the queue is closed.
    void push(std::string line);
    /// Takes all lines that wait.
    std::deque<std::string> take();
    /// Ends every wait in push().
    void close();
    /// Readable while there may be lines.
    int descriptor() const { return wakeUp_.descriptor(); }

private:
    struct State {
        std::deque<std::string> lines;
        bool isClosed = false;
    };

    const std::size_t limit_;
    posix::WakeUp wakeUp_;
    common::Guarded<State> state_;
    std::condition_variable taken_;
};

} // namespace ovoctl
