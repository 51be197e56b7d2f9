// SPDX-License-Identifier: Apache-2.0
#include "LibraryDate.h"

#include "common/WallClock.h"
#include "logger/Logger.h"

#include <atomic>
#include <chrono>

namespace posix {

bool isDateKnownToLibraries() noexcept {
    // The standard library stands for all of them: a distribution builds its packages alike.
    const auto difference = common::WallClock::now() - std::chrono::system_clock::now();
    return std::chrono::abs(difference) < std::chrono::days(1);
}

void reportUnknownDate() {
    static std::atomic<bool> isReported{false};
    if (isDateKnownToLibraries() || isReported.exchange(true))
        return;
    LOG(3) << "The date is after January 2038, which is where the times of this system's libraries "
              "end: they take every certificate for not valid yet, so that HTTPS fails; HTTP works";
}

} // namespace posix
