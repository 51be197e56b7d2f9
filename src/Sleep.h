// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace ovo {

/// Lets the calling thread sleep; false as soon as the process is ending, however short the
/// duration. For waits that check a condition again and again: they give up then.
using Sleep = std::function<bool(std::chrono::milliseconds)>;

/// For waits that end by themselves when the process does.
inline bool sleepThrough(std::chrono::milliseconds duration) {
    std::this_thread::sleep_for(duration);
    return true;
}

} // namespace ovo
