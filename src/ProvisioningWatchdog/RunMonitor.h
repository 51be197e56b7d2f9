// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IIPCPublisher.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace ovo {

/// Lets other programs follow a run: publishes where it is, at most four times a second, and not at
/// all while the bus is away, where such messages would push out those that matter. Not
/// synchronised: for the thread of the run.
class RunMonitor {
public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    struct Progress {
        std::string file;       ///< its URL without credentials
        std::string element;    ///< of the job; empty: none
        std::string job;        ///< the handler; empty: none
        std::int64_t bytes = 0; ///< of the transfer in progress
        std::int64_t total = 0; ///< 0: not known
    };

    /// busPublisher outlives it.
    explicit RunMonitor(ipc::IIPCPublisher& busPublisher, Now clock = Clock::now);
    RunMonitor(const RunMonitor&) = delete;
    RunMonitor& operator=(const RunMonitor&) = delete;

    /// True when the next progress would be published.
    bool isDue() const;
    void publish(const Progress& progress);

private:
    ipc::IIPCPublisher& publisher;
    Now now;
    Clock::time_point next = Clock::time_point::min();
};

} // namespace ovo
