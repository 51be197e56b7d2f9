// SPDX-License-Identifier: Apache-2.0
#include "BusLink.h"

#include "MqttConnection.h"
#include "logger/Logger.h"
#include "posix/PollTimeout.h"

#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <random>
#include <stdexcept>
#include <utility>

namespace ipc {

namespace {

using Clock = std::chrono::steady_clock;

std::function<double()> uniformRandom() {
    return [engine = std::minstd_rand(std::random_device()()),
            distribution = std::uniform_real_distribution<double>(0.0, 1.0)]() mutable {
        return distribution(engine);
    };
}

/// Other threads take the signals. SIGPIPE, which the library's writes raise when the broker is
/// gone, would end the process.
void blockSignals() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

} // namespace

BusLink::BusLink(BusAddress address, std::string clientId, std::vector<std::string> topics,
                 const BusSettings& settings, std::shared_ptr<Outbox> outbox,
                 std::shared_ptr<RequestQueue> requests)
    : address_(std::move(address))
    , clientId_(std::move(clientId))
    , topics_(std::move(topics))
    , settings_(settings)
    , outbox_(std::move(outbox))
    , requests_(std::move(requests))
    , backoff_(settings.reconnectFirst, settings.reconnectLast, settings.reconnectJitter,
               uniformRandom())
    , thread_([this] { run(); }) {}

BusLink::~BusLink() {
    close();
}

void BusLink::close() {
    outbox_->close();
    std::call_once(closed_, [this] { thread_.join(); });
}

void BusLink::run() {
    blockSignals();
    ::pthread_setname_np(::pthread_self(), "bus");
    runConnections();
    outbox_->discard();
}

void BusLink::runConnections() {
    do
        serveConnection();
    while (waitForNextAttempt());
}

void BusLink::serveConnection() {
    std::string reason;
    std::vector<OutgoingMessage> unacknowledged;
    try {
        MqttConnection connection(address_, clientId_, topics_, settings_.keepalive);
        reason = serve(connection);
        unacknowledged = connection.takeUnacknowledged();
    } catch (const std::exception& exception) {
        reason = exception.what();
    }
    outbox_->goOffline(std::move(unacknowledged));
    if (!outbox_->isClosed())
        reportAway(reason);
}

/// Returns the reason once the connection has ended.
std::string BusLink::serve(MqttConnection& connection) {
    const Clock::time_point readyDeadline = Clock::now() + settings_.connectTimeout;
    while (!connection.isLost()) {
        if (connection.isReady() && !outbox_->isOnline())
            goOnline();
        send(connection);
        if (mayEnd(connection)) {
            connection.close();
            break;
        }
        if (!connection.isReady() && Clock::now() >= readyDeadline)
            return "no answer within " + std::to_string(settings_.connectTimeout.count()) + " ms";
        waitForEvents(connection, readyDeadline);
        for (IncomingMessage& message : connection.takeReceived())
            requests_->arrived(std::move(message));
    }
    return connection.lossReason();
}

void BusLink::goOnline() {
    LOG(1) << "Bus connected: " << address_.text;
    backoff_.reset();
    isAwayReported_ = false;
    outbox_->goOnline();
}

void BusLink::send(MqttConnection& connection) {
    while (connection.isReady() && connection.hasRoom()) {
        std::optional<OutgoingMessage> message = outbox_->take();
        if (!message)
            return;
        connection.publish(std::move(*message));
    }
}

/// True when the outbox is closed, and either everything was sent or the time for it is over.
bool BusLink::mayEnd(const MqttConnection& connection) {
    if (!outbox_->isClosed())
        return false;
    if (!endDeadline_)
        endDeadline_ = Clock::now() + settings_.stopTimeout;
    return Clock::now() >= *endDeadline_ || (outbox_->isEmpty() && !connection.hasUnacknowledged());
}

void BusLink::waitForEvents(MqttConnection& connection, Clock::time_point readyDeadline) {
    Clock::time_point deadline =
        connection.isReady() ? Clock::now() + connection.longestWait() : readyDeadline;
    if (endDeadline_)
        deadline = std::min(deadline, *endDeadline_);
    const auto socketEvents =
        static_cast<short>(connection.wantsToWrite() ? POLLIN | POLLOUT : POLLIN);
    std::array<pollfd, 2> descriptors{
        {{connection.socket(), socketEvents, 0}, {outbox_->descriptor(), POLLIN, 0}}};
    ::poll(descriptors.data(), descriptors.size(), posix::pollTimeout(deadline));
    outbox_->clearWakeUp();
    const int events = descriptors[0].revents;
    connection.handleEvents((events & ~POLLOUT) != 0, (events & POLLOUT) != 0);
}

/// False when the outbox was closed meanwhile. Messages that wait in it then get one attempt at
/// once: the broker may be back since the last one.
bool BusLink::waitForNextAttempt() {
    const Clock::time_point deadline = Clock::now() + backoff_.next();
    while (!outbox_->isClosed() && Clock::now() < deadline) {
        pollfd wakeUp{outbox_->descriptor(), POLLIN, 0};
        ::poll(&wakeUp, 1, posix::pollTimeout(deadline));
        outbox_->clearWakeUp();
    }
    return !outbox_->isClosed() || (!outbox_->isEmpty() && !std::exchange(isLastAttempt_, true));
}

/// Only the first failure in a row is notable.
void BusLink::reportAway(const std::string& reason) {
    LOG(isAwayReported_ ? 1 : 2) << "Bus away: " << address_.text << ": " << reason;
    isAwayReported_ = true;
}

} // namespace ipc
