// SPDX-License-Identifier: Apache-2.0
#include "LineQueue.h"

#include <utility>

namespace ovoctl {

void LineQueue::push(std::string line) {
    {
        auto state = state_.lock();
        state.wait(taken_, [this](const State& current) {
            return current.isClosed || current.lines.size() < limit_;
        });
        if (state->isClosed)
            return;
        state->lines.push_back(std::move(line));
    }
    wakeUp_.signal();
}

std::deque<std::string> LineQueue::take() {
    wakeUp_.clear();
    std::deque<std::string> lines = std::exchange(state_.lock()->lines, {});
    taken_.notify_all();
    return lines;
}

void LineQueue::close() {
    state_.lock()->isClosed = true;
    taken_.notify_all();
}

} // namespace ovoctl
