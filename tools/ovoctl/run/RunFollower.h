// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "PhoneState.h"
#include "ovoctl/bus/Bus.h"
#include "ovoctl/support/Endless.h"
#include "posix/WakeUp.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ovoctl {

/// Follows what the daemon does, from before a run is asked for to its report.
class RunFollower {
public:
    using Clock = std::chrono::steady_clock;
    /// Called with the parameters of a progress message.
    using Progress = std::function<void(const Json::Value&)>;

    /// Throws Unaskable when bus or store cannot be reached.
    explicit RunFollower(Clock::time_point busDeadline);

    /// Asks for a run.
    void request(const std::string& url, Clock::time_point deadline);

    /// What is waited for, and what to say when it does not come.
    struct Awaited {
        std::function<bool(const PhoneState&)> isThere;
        const char* idle; ///< no run is in progress for 10 s
        const char* late; ///< the time is over
    };
    /// Waits until something is there, and returns the state then; none when the command is to end.
    /// latest: none, or until when. Throws Unaskable when the daemon ended, is idle, or the time is
    /// over.
    std::optional<PhoneState> waitFor(const Awaited& awaited,
                                      std::optional<Clock::time_point> latest,
                                      const Progress& progress);

private:
    void takeMessages(const Progress& progress);

    Endless endless_;
    Bus bus_;
    posix::WakeUp changed_;
    propertyapi::SqlitePropertyApi store_;
    std::vector<std::unique_ptr<propertyapi::ISubscription>> subscriptions_;
};

} // namespace ovoctl
