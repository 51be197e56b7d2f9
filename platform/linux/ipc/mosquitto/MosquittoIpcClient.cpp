// SPDX-License-Identifier: Apache-2.0
#include "MosquittoIpcClient.h"

#include "BusAddress.h"
#include "BusLink.h"
#include "ForeignText.h"
#include "Outbox.h"
#include "Payload.h"
#include "RequestQueue.h"
#include "Topic.h"

#include <array>
#include <cstdio>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>

namespace ipc {

namespace {

/// A unique name for each client: the broker ends a connection when another one takes its name.
std::string uniqueId(const std::string& clientName) {
    if (!isPublishTopic(clientName))
        throw std::runtime_error("Bus client name " + foreignText(clientName) + " is malformed");
    std::array<char, 16> suffix{};
    std::snprintf(suffix.data(), suffix.size(), "-%08x", std::random_device()());
    return clientName + suffix.data();
}

/// Each topic once.
std::vector<std::string> checkedTopics(const std::vector<std::string>& topics) {
    for (const std::string& topic : topics) {
        if (!isSubscriptionTopic(topic))
            throw std::runtime_error("Bus topic " + foreignText(topic) + " is malformed");
    }
    const std::set<std::string> distinct(topics.begin(), topics.end());
    return {distinct.begin(), distinct.end()};
}

} // namespace

MosquittoIpcClient::MosquittoIpcClient(const std::string& address, const std::string& clientName,
                                       std::vector<std::string> topics,
                                       std::shared_ptr<IMessageThreadStrategy> messageThread,
                                       Settings settings)
    : messageThread_(std::move(messageThread))
    , outbox_(std::make_shared<Outbox>(settings.waitingMessages, settings.waitingBytes))
    , requests_(std::make_shared<RequestQueue>(
          messageThread_, outbox_,
          RequestQueue::Limits{settings.waitingRequests, settings.waitingRequestBytes}))
    , link_(std::make_unique<BusLink>(BusAddress::parse(address), uniqueId(clientName),
                                      checkedTopics(topics), settings, outbox_, requests_)) {}

MosquittoIpcClient::~MosquittoIpcClient() {
    MosquittoIpcClient::close();
}

bool MosquittoIpcClient::isConnected() const {
    return outbox_->isOnline();
}

void MosquittoIpcClient::publish(const std::string& destination, const IPCMessage& message) {
    outbox_->push({message.name, destination, encode(message), std::nullopt});
}

void MosquittoIpcClient::activate(HandlersMap handlers, ProceduresMap procedures) {
    requests_->activate(std::move(handlers), std::move(procedures));
}

void MosquittoIpcClient::stop() {
    requests_->stop();
}

void MosquittoIpcClient::close() {
    requests_->stop();
    link_->close();
}

} // namespace ipc
