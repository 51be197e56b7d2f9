// SPDX-License-Identifier: Apache-2.0
#include "PollTimeout.h"

#include <algorithm>
#include <limits>

namespace posix {

int pollTimeout(std::chrono::steady_clock::time_point deadline) {
    using std::chrono::milliseconds;
    const auto left =
        std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    return static_cast<int>(
        std::clamp<milliseconds::rep>(left, 0, std::numeric_limits<int>::max()));
}

} // namespace posix
