// SPDX-License-Identifier: Apache-2.0
#include "StallWatch.h"

#include <algorithm>

namespace http {

StallWatch::StallWatch(std::chrono::milliseconds limit) : limit_(limit) {}

void StallWatch::start(Clock::time_point now) {
    started_ = true;
    since_ = now;
    bytes_ = 0;
}

bool StallWatch::stalled(Clock::time_point now) {
    if (!started_)
        return false;
    // As soon as a whole limit's worth of bytes is there, the time begins anew: a burst long ago
    // does not carry a transfer that has fallen silent since.
    const auto enough = std::max<std::uint64_t>(
        1, BYTES_PER_SECOND * static_cast<std::uint64_t>(limit_.count()) / 1000);
    if (bytes_ >= enough) {
        start(now);
        return false;
    }
    return now - since_ >= limit_;
}

} // namespace http
