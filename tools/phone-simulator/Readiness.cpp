// SPDX-License-Identifier: Apache-2.0
#include "Readiness.h"

#include <utility>

namespace simulator {

Readiness::Readiness(std::set<std::string> neverReady, Clock::time_point readyFrom)
    : neverReady_(std::move(neverReady)), readyFrom_(readyFrom) {}

bool Readiness::isReady(const std::string& neighbour, Clock::time_point now) const {
    return now >= readyFrom_ && neverReady_.count(neighbour) == 0;
}

} // namespace simulator
