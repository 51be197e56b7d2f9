// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace propertyapi {

/// When to look for changes that others have committed.
///
/// The write to the log that can be watched comes before the commit can be seen: in between the
/// writer flushes the disk, which takes a fraction of a millisecond or seconds. So the log is
/// looked at once more after growing intervals, each about as long as the commit has taken so far,
/// until it is certain that no writer is that slow.
class LookSchedule {
public:
    /// The log has just been written to, and looked at.
    void restart() noexcept {
        interval_ = FIRST;
        last_ = {};
    }
    /// The interval to the next look, and goes on to the one behind it.
    std::chrono::milliseconds next() noexcept;
    /// The interval before the look that is due now: nobody has written for that long.
    std::chrono::milliseconds quiet() const noexcept { return last_; }

private:
    static constexpr std::chrono::milliseconds FIRST{1};
    static constexpr std::chrono::milliseconds LAST{8192};
    /// Should a change ever have gone unnoticed, it is noticed then.
    static constexpr std::chrono::milliseconds IDLE{30'000};

    std::chrono::milliseconds interval_ = FIRST;
    std::chrono::milliseconds last_{};
};

} // namespace propertyapi
