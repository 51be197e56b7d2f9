// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace http {

/// A number as an option of the library takes it. The library keeps 31 bits of it, whatever the
/// width of `long`: a larger number is the largest.
inline long curlNumber(std::int64_t number) {
    constexpr std::int64_t LARGEST = std::numeric_limits<std::int32_t>::max();
    return static_cast<long>(std::clamp<std::int64_t>(number, 0, LARGEST));
}

} // namespace http
