// SPDX-License-Identifier: Apache-2.0
#include "Outbox.h"

#include "ForeignText.h"
#include "Payload.h"
#include "Topic.h"
#include "logger/Logger.h"

#include <iterator>
#include <utility>

namespace ipc {

namespace {

std::size_t sizeOf(const OutgoingMessage& message) {
    return message.topic.size() + message.payload.size();
}

/// Why the message can never be sent; none when it can.
const char* faultOf(const OutgoingMessage& message) {
    if (!isPublishTopic(message.topic))
        return "the topic is malformed";
    return message.payload.size() > LARGEST_PAYLOAD ? "it is too large" : nullptr;
}

} // namespace

Outbox::Outbox(std::size_t waitingLimit, std::size_t byteLimit)
    : waitingLimit_(waitingLimit), byteLimit_(byteLimit) {}

void Outbox::push(OutgoingMessage message) {
    log(append(std::move(message)));
    // Offline, the network thread is left asleep: it sends what waits when it gets online.
    if (isOnline())
        wakeUp_.signal();
}

/// The messages that are dropped instead: the new one where it is refused, else the oldest ones.
std::vector<Outbox::Dropped> Outbox::append(OutgoingMessage message) {
    std::vector<Dropped> dropped;
    if (const char* fault = faultOf(message)) {
        dropped.push_back({std::move(message), fault});
        return dropped;
    }
    const auto queue = queue_.lock();
    if (queue->isClosed) {
        dropped.push_back({std::move(message), "the connection to the bus has been ended"});
        return dropped;
    }
    queue->bytes += sizeOf(message);
    queue->messages.push_back(std::move(message));
    return dropExcess(*queue);
}

void Outbox::close() {
    queue_.lock()->isClosed = true;
    wakeUp_.signal();
}

bool Outbox::isClosed() const {
    return queue_.lock()->isClosed;
}

bool Outbox::isEmpty() const {
    return queue_.lock()->messages.empty();
}

bool Outbox::isOnline() const {
    return queue_.lock()->isOnline;
}

std::optional<OutgoingMessage> Outbox::take() {
    const auto queue = queue_.lock();
    if (queue->messages.empty())
        return std::nullopt;
    return queue->popFront();
}

void Outbox::goOnline() {
    queue_.lock()->isOnline = true;
}

void Outbox::goOffline(std::vector<OutgoingMessage> unacknowledged) {
    std::vector<Dropped> dropped;
    {
        const auto queue = queue_.lock();
        queue->isOnline = false;
        for (const OutgoingMessage& message : unacknowledged)
            queue->bytes += sizeOf(message);
        queue->messages.insert(queue->messages.begin(),
                               std::make_move_iterator(unacknowledged.begin()),
                               std::make_move_iterator(unacknowledged.end()));
        dropped = dropExcess(*queue);
    }
    log(dropped);
}

void Outbox::discard() {
    std::deque<OutgoingMessage> dropped;
    {
        const auto queue = queue_.lock();
        dropped.swap(queue->messages);
        queue->bytes = 0;
    }
    if (!dropped.empty()) {
        LOG(2) << "Connection to the bus ends, " << dropped.size() << " waiting message(s) dropped";
    }
}

std::vector<Outbox::Dropped> Outbox::dropExcess(Queue& queue) const {
    std::vector<Dropped> dropped;
    while (isOverfull(queue))
        dropped.push_back({queue.popFront(), "too many wait for the bus"});
    return dropped;
}

/// A single message is kept whatever its size.
bool Outbox::isOverfull(const Queue& queue) const {
    return queue.isOnline ? queue.bytes > byteLimit_ && queue.messages.size() > 1
                          : queue.messages.size() > waitingLimit_;
}

void Outbox::log(const std::vector<Dropped>& messages) {
    for (const auto& [message, why] : messages) {
        LOG(2) << "Bus message " << foreignText(message.name) << " to "
               << foreignText(message.topic) << " dropped: " << why;
    }
}

OutgoingMessage Outbox::Queue::popFront() {
    OutgoingMessage message = std::move(messages.front());
    messages.pop_front();
    bytes -= sizeOf(message);
    return message;
}

} // namespace ipc
