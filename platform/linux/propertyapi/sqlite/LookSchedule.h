// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace propertyapi {

/// When to look for changes that others have committed.
///
/// The write to the log that can be watched comes before the commit can be seen: in between the
/// writer flushes the disk, which takes a fraction of a millisecond or seconds. So the log is
/// looked at once more after growing intervals: each a quarter of the time since the write, until a
/// commit was found or a second is over, which takes 35 looks; from then on, as the write may have
/// been another's or the writer slow, as long as that time.
class LookSchedule {
public:
    /// The log has just been written to, and looked at.
    void restart() noexcept { *this = {}; }
    /// A commit was found; or looks cost so much that there are to be few.
    void found() noexcept { isFound_ = true; }
    /// The interval to the next look, and goes on to the one behind it.
    std::chrono::microseconds next() noexcept;
    /// Nobody has written for that long when the look that is due now is made.
    std::chrono::microseconds quiet() const noexcept { return quiet_; }

private:
    bool isFound_ = false;
    std::chrono::microseconds quiet_{};
};

} // namespace propertyapi
