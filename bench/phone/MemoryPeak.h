// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <atomic>
#include <thread>

namespace bench {

/// Samples the private pages of a process every millisecond (RssAnon: written and backed by no
/// file) while the object lives.
class MemoryPeak {
public:
    explicit MemoryPeak(pid_t pid);

    /// The largest sample so far, in MB of 1,000,000 bytes.
    double megabytes() const;

private:
    std::atomic<long> peak_{0}; // KiB
    std::jthread sampler_;
};

} // namespace bench
