// SPDX-License-Identifier: Apache-2.0
#include "MemoryPeak.h"

#include "support/process/Proc.h"

#include <algorithm>
#include <chrono>

namespace bench {

MemoryPeak::MemoryPeak(pid_t pid)
    : sampler_([this, pid](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            peak_ = std::max(peak_.load(), proc::memoryOf(pid, "RssAnon"));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }) {}

double MemoryPeak::megabytes() const {
    return static_cast<double>(peak_) * 1024 / 1e6;
}

} // namespace bench
