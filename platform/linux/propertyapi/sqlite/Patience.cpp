// SPDX-License-Identifier: Apache-2.0
#include "Patience.h"

#include <algorithm>

namespace propertyapi {

void Patience::limit(std::chrono::milliseconds total) {
    const std::lock_guard lock(mutex_);
    charge(Clock::now());
    const Clock::duration most = std::max(Clock::duration(total), Clock::duration::zero());
    left_ = left_ ? std::min(*left_, most) : most;
    changed_.notify_all();
}

bool Patience::isLimited() {
    const std::lock_guard lock(mutex_);
    return left_.has_value();
}

/// Takes what has been waited since the last call off the limit: the time times the threads.
void Patience::charge(Clock::time_point now) {
    if (left_)
        left_ = std::max(*left_ - waiting_ * (now - charged_), Clock::duration::zero());
    charged_ = now;
}

/// Takes what was waited off what is left; nothing when there was no wait.
bool Patience::wait(Clock::duration& left, const Attempt& attempt) {
    std::unique_lock lock(mutex_);
    if (attempt())
        return true;
    const Clock::time_point begin = Clock::now();
    charge(begin);
    ++waiting_;
    // From now on the limit goes by faster for the others.
    if (left_)
        changed_.notify_all();
    Clock::time_point now = begin;
    bool done = false;
    for (;;) {
        const Clock::duration share = left_ ? *left_ / waiting_ : Clock::duration::max();
        const Clock::duration time = std::min(left - (now - begin), share);
        if (time <= Clock::duration::zero())
            break;
        changed_.wait_until(lock, now + time);
        now = Clock::now();
        charge(now);
        done = attempt();
        if (done)
            break;
    }
    --waiting_;
    left -= now - begin;
    return done;
}

bool Patience::Allowance::waitFor(const Attempt& attempt) {
    const Clock::duration before = left_;
    const bool done = patience_.wait(left_, attempt);
    hasWaited_ = hasWaited_ || left_ != before;
    return done;
}

bool Patience::Allowance::pause(std::chrono::milliseconds time) {
    const Clock::duration piece = std::min(left_, Clock::duration(time));
    Clock::duration left = piece;
    const bool ended =
        patience_.wait(left, [this] { return pointless_ != nullptr && *pointless_; });
    left_ -= piece - left;
    hasWaited_ = hasWaited_ || left != piece;
    return !ended && left != piece;
}

} // namespace propertyapi
