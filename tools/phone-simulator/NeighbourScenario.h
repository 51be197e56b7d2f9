// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// What a neighbour does in place of the usual.
struct Behaviour {
    std::string neighbour;
    std::string message;                ///< on which it does so; empty: on every one
    std::optional<std::uint64_t> times; ///< on the first so many; none: on all
    std::chrono::milliseconds late{0};
    std::optional<std::string> refuse;               ///< the answer's error
    std::optional<Json::Value> answer;               ///< parameters in place of the right ones
    std::optional<std::chrono::milliseconds> crash;  ///< it leaves the bus for so long
    std::optional<std::chrono::milliseconds> absent; ///< on no message: it comes so late

    /// Throws std::invalid_argument with a sentence when parts do not fit together.
    void check() const;
};

/// The neighbours' misbehaviour, and their patience in it. Any thread.
class NeighbourScenario {
public:
    explicit NeighbourScenario(std::vector<Behaviour> behaviours);

    /// Of those for this message that have not been shown often enough, the first one; null: the
    /// neighbour does the usual. Valid as long as the scenario.
    const Behaviour* next(const std::string& neighbour, const std::string& message);
    /// How long the neighbour is not there at first; none: it is there.
    std::optional<std::chrono::milliseconds> absence(const std::string& neighbour) const;

    /// Waits for so long; false as soon as everything ends.
    bool wait(std::chrono::milliseconds time);
    /// Ends all waiting for good.
    void end();

    /// Reads the list "neighbours" of a scenario file. Throws scenario::ScenarioError.
    static std::vector<Behaviour> read(const std::string& path);

private:
    const std::vector<Behaviour> behaviours_;
    std::mutex mutex_; ///< guards what follows
    std::condition_variable ended_;
    bool isEnded_ = false;
    std::vector<std::uint64_t> shown_;
};

} // namespace simulator
