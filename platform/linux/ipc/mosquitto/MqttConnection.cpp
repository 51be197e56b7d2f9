// SPDX-License-Identifier: Apache-2.0
#include "MqttConnection.h"

#include "ForeignText.h"
#include "ipc/IPCMessage.h"
#include "logger/Logger.h"

#include <utility>

namespace ipc {

MqttConnection::MqttConnection(const BusAddress& address, const std::string& clientId,
                               std::vector<std::string> topics, std::chrono::seconds keepalive)
    : keepalive_(keepalive)
    , topics_(std::move(topics))
    , session_(address, clientId, keepalive, *this) {}

void MqttConnection::handleEvents(bool isReadable, bool isWritable) {
    if (isReadable)
        check(session_.read());
    if (isWritable && !isLost())
        check(session_.write());
    if (!isLost())
        check(session_.keepAlive());
    if (isAccepted_ && !isSubscribing_ && !isLost())
        subscribe();
    for (const Note& note : std::exchange(notes_, {})) {
        LOG(note.level) << note.text;
    }
}

/// The broker drops a silent client after one and a half times the keepalive. The library sends its
/// ping when it is called after one.
std::chrono::milliseconds MqttConnection::longestWait() const {
    return std::chrono::milliseconds(keepalive_) / 3;
}

void MqttConnection::check(const MqttSession::Failure& failure) {
    if (!failure.empty() && isLost())
        lost(failure);
}

void MqttConnection::subscribe() {
    isSubscribing_ = true;
    if (topics_.empty())
        isReady_ = true;
    else
        check(session_.subscribe(topics_));
}

void MqttConnection::publish(OutgoingMessage message) {
    const MqttSession::Published published = session_.publish(message);
    check(published.failure);
    if (published.isRefused) {
        LOG(2) << "Bus message " << foreignText(message.name) << " to "
               << foreignText(message.topic) << " dropped: " << published.failure;
        return;
    }
    // A write that failed means a lost connection, which the next read reports.
    inFlight_.add(published.id, std::move(message));
}

std::vector<IncomingMessage> MqttConnection::takeReceived() {
    return std::exchange(received_, {});
}

void MqttConnection::accepted() noexcept {
    isAccepted_ = true;
}

/// The first reason counts.
void MqttConnection::lost(std::string reason) noexcept {
    if (lossReason_.empty())
        lossReason_ = std::move(reason);
}

void MqttConnection::subscribed(const std::vector<bool>& granted) noexcept {
    isReady_ = true;
    for (std::size_t index = 0; index < topics_.size(); ++index) {
        if (index < granted.size() && granted[index])
            continue;
        refusedTopics_.push_back(topics_[index]);
        notes_.push_back({3, "Broker refused the subscription to " + foreignText(topics_[index])});
    }
}

void MqttConnection::acknowledged(int id, const char* failure) noexcept {
    const std::optional<OutgoingMessage> message = inFlight_.acknowledge(id);
    if (message && failure != nullptr) {
        notes_.push_back({2, "Bus message " + foreignText(message->name) + " to " +
                                 foreignText(message->topic) +
                                 " refused by the broker: " + failure});
    }
}

void MqttConnection::received(IncomingMessage message) noexcept {
    received_.push_back(std::move(message));
}

void MqttConnection::receivedTooLarge(const std::string& topic, std::size_t size) noexcept {
    notes_.push_back({2, "Bus message on " + foreignText(topic) + " dropped: it has " +
                             std::to_string(size) + " bytes, more than " +
                             std::to_string(LARGEST_PAYLOAD)});
}

} // namespace ipc
