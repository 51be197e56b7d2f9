// SPDX-License-Identifier: Apache-2.0
#include "InFlight.h"

#include <algorithm>

namespace ipc {

namespace {

constexpr std::size_t LIMIT = 16;

} // namespace

bool InFlight::isFull() const {
    return messages_.size() >= LIMIT;
}

void InFlight::add(int id, OutgoingMessage message) {
    messages_.emplace_back(id, std::move(message));
}

std::optional<OutgoingMessage> InFlight::acknowledge(int id) {
    const auto entry = std::find_if(messages_.begin(), messages_.end(),
                                    [id](const auto& candidate) { return candidate.first == id; });
    if (entry == messages_.end())
        return std::nullopt;
    OutgoingMessage message = std::move(entry->second);
    messages_.erase(entry);
    return message;
}

std::vector<OutgoingMessage> InFlight::take() {
    std::vector<OutgoingMessage> result;
    result.reserve(messages_.size());
    for (auto& [id, message] : std::exchange(messages_, {}))
        result.push_back(std::move(message));
    return result;
}

} // namespace ipc
