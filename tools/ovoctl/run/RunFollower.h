// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/bus/Bus.h"
#include "ovoctl/support/Endless.h"
#include "posix/WakeUp.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ovoctl {

/// Follows a run of the daemon, from before it is asked for to its report.
class RunFollower {
public:
    using Clock = std::chrono::steady_clock;
    /// Called with the parameters of a progress message.
    using Progress = std::function<void(const Json::Value&)>;

    /// Throws Unaskable when bus or store cannot be reached.
    explicit RunFollower(Clock::time_point busDeadline);

    /// Asks for a run.
    void request(const std::string& url, Clock::time_point deadline);
    /// Waits for the report of that run or a later one. None when the command is to end. latest:
    /// none, or until when. Throws Unaskable when the daemon ended, has begun no run, or the time
    /// is over.
    std::optional<std::string> wait(std::uint64_t run, bool isRunBefore,
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
