// SPDX-License-Identifier: Apache-2.0
#include "LookSchedule.h"

#include <utility>

namespace propertyapi {

std::chrono::milliseconds LookSchedule::next() noexcept {
    if (interval_ > LAST)
        return last_ = IDLE;
    return last_ = std::exchange(interval_, interval_ * 2);
}

} // namespace propertyapi
