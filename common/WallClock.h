// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>

namespace common {

/// The date and time of the machine: whoever asks for them asks here. The standard library's own
/// clock does not do: where the library was built with 32-bit times, it knows no date after January
/// 2038 and does not say so.
struct WallClock {
    using TimePoint = std::chrono::system_clock::time_point;

    /// Any thread. The epoch where the machine has no clock.
    static TimePoint now() noexcept {
        static_assert(sizeof(std::time_t) >= sizeof(std::int64_t),
                      "on a 32-bit system, build with -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64");
        std::timespec time{};
        if (::clock_gettime(CLOCK_REALTIME, &time) != 0)
            return {};
        return TimePoint(std::chrono::duration_cast<TimePoint::duration>(
            std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec)));
    }
};

} // namespace common
