// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Guarded.h"
#include "posix/WakeUp.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <utility>

namespace ovoctl {

/// Entries on their way from the threads where they come up to the one that prints them. Bounded:
/// whoever adds an entry waits while too many wait.
template <typename Entry>
class BoundedQueue {
public:
    /// Closes a queue at the end of a scope: no push() waits for room any longer.
    class Closing {
    public:
        explicit Closing(BoundedQueue& queue) : queue_(queue) {}
        ~Closing() { queue_.close(); }
        Closing(const Closing&) = delete;
        Closing& operator=(const Closing&) = delete;

    private:
        BoundedQueue& queue_;
    };

    /// limit: how many entries wait at most.
    explicit BoundedQueue(std::size_t limit) : limit_(limit) {}

    /// Any thread. Drops the entry once the queue is closed.
    void push(Entry entry) {
        {
            auto state = state_.lock();
            state.wait(taken_, [this](const State& current) {
                return current.isClosed || current.entries.size() < limit_;
            });
            if (state->isClosed)
                return;
            state->entries.push_back(std::move(entry));
        }
        wakeUp_.signal();
    }
    /// Takes all entries that wait.
    std::deque<Entry> take() {
        wakeUp_.clear();
        std::deque<Entry> entries = std::exchange(state_.lock()->entries, {});
        taken_.notify_all();
        return entries;
    }
    /// Ends every wait in push().
    void close() {
        state_.lock()->isClosed = true;
        taken_.notify_all();
    }
    /// Readable while there may be entries.
    int descriptor() const { return wakeUp_.descriptor(); }

private:
    struct State {
        std::deque<Entry> entries;
        bool isClosed = false;
    };

    const std::size_t limit_;
    posix::WakeUp wakeUp_;
    common::Guarded<State> state_;
    std::condition_variable taken_;
};

} // namespace ovoctl
