// SPDX-License-Identifier: Apache-2.0
#include "HealthCheck.h"

#include "logger/Logger.h"

#include <exception>
#include <utility>

namespace app {

HealthCheck::HealthCheck(std::string name, std::chrono::microseconds interval,
                         std::function<bool()> check, std::function<void()> onHealthy)
    : name_(std::move(name))
    , interval_(interval)
    , check_(std::move(check))
    , onHealthy_(std::move(onHealthy))
    , thread_([this] { run(); }) {}

HealthCheck::~HealthCheck() {
    stopped_.set(true);
    stopping_.notify_all();
    thread_.join();
}

void HealthCheck::run() {
    Clock::time_point due = Clock::now() + interval_;
    while (waitUntil(due)) {
        // Counted from the start of the check, whose length does not stretch the interval.
        due = Clock::now() + interval_;
        if (isHealthy() && !stopped_.get())
            onHealthy_();
    }
}

/// False when the object is being destroyed.
bool HealthCheck::waitUntil(Clock::time_point due) {
    return !stopped_.lock().waitUntil(stopping_, due, [](bool stopped) { return stopped; });
}

bool HealthCheck::isHealthy() const {
    try {
        if (check_())
            return true;
        LOG(3) << "Health check of " << name_ << " failed";
    } catch (const std::exception& exception) {
        LOG(3) << "Health check of " << name_ << " failed: " << exception.what();
    }
    return false;
}

} // namespace app
