// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "PhoneState.h"
#include "ovoctl/bus/Bus.h"
#include "ovoctl/support/BoundedQueue.h"
#include "ovoctl/support/Endless.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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
    /// Waits until something is there, and returns the state then, with the report of that time:
    /// each report is seen, however soon the next one follows. latest: none, or until when. Throws
    /// ReaderLeft, and Unaskable when the daemon ended, is idle, the time is over, or the command
    /// is told to end.
    PhoneState waitFor(const Awaited& awaited, std::optional<Clock::time_point> latest,
                       const Progress& progress);

private:
    using Reports = BoundedQueue<std::string>;

    std::optional<PhoneState> find(const Awaited& awaited, const PhoneState& now);
    void waitForNews(Clock::time_point latest);
    void takeMessages(const Progress& progress);

    Endless endless_;
    Bus bus_;
    Reports reports_; ///< an empty one when something else has changed
    propertyapi::SqlitePropertyApi store_;
    std::vector<std::unique_ptr<propertyapi::ISubscription>> subscriptions_;
    Reports::Closing closing_{reports_};
};

} // namespace ovoctl
