// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventPrinter.h"
#include "Neighbour.h"
#include "NeighbourScenario.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace simulator {

/// All neighbours on the bus. Each has a message thread of its own, so that a late one delays no
/// other. Those that crash, or come late, are brought (back) by a thread of this object. Scenario
/// and printer must outlive it.
class Neighbourhood {
public:
    Neighbourhood(std::vector<NeighbourDescription> descriptions, std::string busAddress,
                  NeighbourScenario& scenario, EventPrinter& printer);
    ~Neighbourhood();
    Neighbourhood(const Neighbourhood&) = delete;
    Neighbourhood& operator=(const Neighbourhood&) = delete;

    /// Those that are not absent now.
    std::vector<std::string> names() const;
    /// True when each of them is connected to the bus.
    bool isConnected() const;

private:
    using Clock = std::chrono::steady_clock;

    struct Presence;
    struct Place {
        NeighbourDescription description;
        std::shared_ptr<Presence> presence;       ///< null before it comes for the first time
        std::optional<Clock::time_point> comesAt; ///< none: it is there
    };

    std::shared_ptr<Presence> enter(std::size_t index);
    void leave(std::size_t index, std::chrono::milliseconds time);
    void bringBack();
    Place* nextToCome();

    const std::string busAddress_;
    NeighbourScenario& scenario_;
    EventPrinter& printer_;
    mutable std::mutex mutex_; ///< guards what follows
    std::condition_variable changed_;
    bool isEnding_ = false;
    std::vector<Place> places_;
    std::thread thread_;
};

} // namespace simulator
