// SPDX-License-Identifier: Apache-2.0
#include "Bus.h"

#include "app/Environment.h"
#include "ipc/mosquitto/BusAddress.h"
#include "ovoctl/Failure.h"
#include "posix/PollTimeout.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <stdexcept>

namespace ovoctl {

namespace {

constexpr std::chrono::seconds KEEPALIVE{60};

std::string text(const std::string& address, const std::string& cause) {
    return "the bus " + address + " cannot be reached: " + cause;
}

/// A name of its own: the broker ends a connection when another one takes its name.
std::string clientId() {
    std::array<char, 32> id{};
    std::snprintf(id.data(), id.size(), "ovoctl-%08x", std::random_device()());
    return id.data();
}

ipc::BusAddress parse(const std::string& address) {
    try {
        return ipc::BusAddress::parse(address);
    } catch (const std::runtime_error& error) {
        throw Misuse(error.what());
    }
}

ipc::MqttConnection connect(const std::string& address, const std::vector<std::string>& topics) {
    const ipc::BusAddress parsed = parse(address);
    try {
        return ipc::MqttConnection(parsed, clientId(), topics, KEEPALIVE);
    } catch (const std::runtime_error& error) {
        throw Unaskable(text(address, error.what()));
    }
}

} // namespace

Bus::Bus(const std::vector<std::string>& topics)
    : address_(app::Environment::read().busAddress), connection_(connect(address_, topics)) {}

Bus::Bus(const std::vector<std::string>& topics, Clock::time_point deadline) : Bus(topics) {
    while (!isReady()) {
        if (Clock::now() >= deadline)
            failWithoutAnswer();
        step(deadline);
    }
}

void Bus::send(const std::string& topic, const ipc::IPCMessage& message,
               Clock::time_point deadline) {
    connection_.publish({message.name, topic, ipc::encode(message), std::nullopt});
    while (connection_.hasUnacknowledged()) {
        if (Clock::now() >= deadline)
            fail("the broker does not take the message in time");
        step(deadline);
    }
}

std::vector<ipc::IncomingMessage> Bus::receive(Clock::time_point deadline) {
    for (;;) {
        std::vector<ipc::IncomingMessage> messages = take();
        if (!messages.empty() || Clock::now() >= deadline)
            return messages;
        step(deadline);
    }
}

pollfd Bus::descriptor() const {
    const int events = connection_.wantsToWrite() ? POLLIN | POLLOUT : POLLIN;
    return {connection_.socket(), static_cast<short>(events), 0};
}

void Bus::handle(short events) {
    connection_.handleEvents((events & ~POLLOUT) != 0, (events & POLLOUT) != 0);
    if (connection_.isLost())
        fail(connection_.lossReason());
}

void Bus::step(Clock::time_point deadline) {
    if (connection_.isLost())
        fail(connection_.lossReason());
    pollfd socket = descriptor();
    ::poll(&socket, 1, posix::pollTimeout(std::min(deadline, latest())));
    handle(socket.revents);
}

void Bus::fail(const std::string& cause) const {
    throw Unaskable(text(address_, cause));
}

} // namespace ovoctl
