// SPDX-License-Identifier: Apache-2.0
#include "LookSchedule.h"

#include <algorithm>

namespace propertyapi {

namespace {

constexpr std::chrono::microseconds SHORTEST{250};
/// Hardly a writer takes longer.
constexpr std::chrono::microseconds LONG = std::chrono::seconds(1);
/// Should a change ever have gone unnoticed, it is noticed then.
constexpr std::chrono::microseconds LONGEST = std::chrono::minutes(5);

} // namespace

std::chrono::microseconds LookSchedule::next() noexcept {
    const auto interval =
        std::clamp(isFound_ || quiet_ >= LONG ? quiet_ : quiet_ / 4, SHORTEST, LONGEST);
    quiet_ += interval;
    return interval;
}

} // namespace propertyapi
