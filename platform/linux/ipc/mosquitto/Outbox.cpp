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

void logDropped(const OutgoingMessage& message, const char* why) {
    LOG(2) << "Bus message " << foreignText(message.name) << " to " << foreignText(message.topic)
           << " dropped: " << why;
}

void logDropped(const std::vector<OutgoingMessage>& messages) {
    for (const OutgoingMessage& message : messages)
        logDropped(message, "too many wait for the bus");
}

} // namespace

Outbox::Outbox(std::size_t waitingLimit, std::size_t byteLimit)
    : waitingLimit_(waitingLimit), byteLimit_(byteLimit) {}

void Outbox::push(OutgoingMessage message) {
    if (const char* fault = faultOf(message)) {
        logDropped(message, fault);
        return;
    }
    bool isRefused = false;
    bool isAwaited = false;
    std::vector<OutgoingMessage> dropped;
    {
        const std::lock_guard lock(mutex_);
        isRefused = isClosed_;
        if (!isRefused) {
            bytes_ += sizeOf(message);
            messages_.push_back(std::move(message));
            dropped = dropExcess();
            isAwaited = isOnline_;
        }
    }
    if (isRefused) // NOLINTNEXTLINE(bugprone-use-after-move): what is refused was not moved.
        logDropped(message, "the connection to the bus has been ended");
    if (isAwaited)
        wakeUp_.signal();
    logDropped(dropped);
}

void Outbox::close() {
    {
        const std::lock_guard lock(mutex_);
        isClosed_ = true;
    }
    wakeUp_.signal();
}

bool Outbox::isClosed() const {
    const std::lock_guard lock(mutex_);
    return isClosed_;
}

bool Outbox::isEmpty() const {
    const std::lock_guard lock(mutex_);
    return messages_.empty();
}

bool Outbox::isOnline() const {
    const std::lock_guard lock(mutex_);
    return isOnline_;
}

std::optional<OutgoingMessage> Outbox::take() {
    const std::lock_guard lock(mutex_);
    if (messages_.empty())
        return std::nullopt;
    return popFront();
}

void Outbox::goOnline() {
    const std::lock_guard lock(mutex_);
    isOnline_ = true;
}

void Outbox::goOffline(std::vector<OutgoingMessage> unacknowledged) {
    std::vector<OutgoingMessage> dropped;
    {
        const std::lock_guard lock(mutex_);
        isOnline_ = false;
        for (const OutgoingMessage& message : unacknowledged)
            bytes_ += sizeOf(message);
        messages_.insert(messages_.begin(), std::make_move_iterator(unacknowledged.begin()),
                         std::make_move_iterator(unacknowledged.end()));
        dropped = dropExcess();
    }
    logDropped(dropped);
}

void Outbox::discard() {
    std::deque<OutgoingMessage> dropped;
    {
        const std::lock_guard lock(mutex_);
        dropped.swap(messages_);
        bytes_ = 0;
    }
    if (!dropped.empty()) {
        LOG(2) << "Connection to the bus ends, " << dropped.size() << " waiting message(s) dropped";
    }
}

/// A single message is kept whatever its size.
bool Outbox::isOverfull() const {
    return isOnline_ ? bytes_ > byteLimit_ && messages_.size() > 1
                     : messages_.size() > waitingLimit_;
}

std::vector<OutgoingMessage> Outbox::dropExcess() {
    std::vector<OutgoingMessage> dropped;
    while (isOverfull())
        dropped.push_back(popFront());
    return dropped;
}

OutgoingMessage Outbox::popFront() {
    OutgoingMessage message = std::move(messages_.front());
    messages_.pop_front();
    bytes_ -= sizeOf(message);
    return message;
}

} // namespace ipc
