// SPDX-License-Identifier: Apache-2.0
#include "ReturningBus.h"

#include <algorithm>
#include <utility>

namespace ovoctl {

namespace {

constexpr std::chrono::seconds LONGEST_ANSWER{5};
constexpr std::chrono::milliseconds FIRST_DELAY{250};
constexpr std::chrono::milliseconds LAST_DELAY{5000};

} // namespace

ReturningBus::ReturningBus(Events events)
    : events_(std::move(events)), backoff_(FIRST_DELAY, LAST_DELAY, 0, [] { return 0.0; }) {
    connect();
}

pollfd ReturningBus::descriptor() const {
    return bus_ ? bus_->descriptor() : pollfd{-1, 0, 0};
}

ReturningBus::Clock::time_point ReturningBus::latest() const {
    if (!bus_)
        return deadline_;
    return isUp_ ? bus_->latest() : std::min(deadline_, bus_->latest());
}

void ReturningBus::handle(short events) {
    try {
        if (bus_)
            advance(events);
        else if (Clock::now() >= deadline_)
            connect();
    } catch (const Unaskable& cause) {
        if (!wasUp_)
            throw;
        lose(cause);
    }
}

void ReturningBus::connect() {
    bus_.emplace(std::vector<std::string>{"#"});
    deadline_ = Clock::now() + LONGEST_ANSWER;
}

void ReturningBus::advance(short events) {
    bus_->handle(events);
    if (!isUp_ && bus_->isReady()) {
        isUp_ = true;
        backoff_.reset();
        if (std::exchange(wasUp_, true))
            events_.news("the broker is back");
    }
    if (!isUp_ && Clock::now() >= deadline_)
        bus_->failWithoutAnswer();
    for (const ipc::IncomingMessage& message : bus_->take())
        events_.message(message);
}

/// What came before the loss was taken.
void ReturningBus::lose(const Unaskable& cause) {
    if (bus_)
        for (const ipc::IncomingMessage& message : bus_->take())
            events_.message(message);
    bus_.reset();
    deadline_ = Clock::now() + backoff_.next();
    if (std::exchange(isUp_, false))
        events_.news(std::string(cause.what()) + "; messages are missing until it is back");
}

} // namespace ovoctl
