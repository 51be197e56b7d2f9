// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace posix {

/// The time left until a deadline as poll() takes it: milliseconds, rounded up so that the deadline
/// has passed when poll() returns, 0 when it has passed already.
int pollTimeout(std::chrono::steady_clock::time_point deadline);

} // namespace posix
