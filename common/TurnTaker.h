// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <mutex>

namespace common {

/// Lets threads do something lengthy one after another. In place of a mutex where the something is
/// input, output or a join: no lock is held during a turn, the mutex only guards the flag that says
/// whether somebody has it.
class TurnTaker {
public:
    /// A turn, from construction (which waits for it) to destruction.
    class Turn {
    public:
        explicit Turn(TurnTaker& taker) : taker_(taker) { taker_.take(); }
        ~Turn() { taker_.giveBack(); }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        TurnTaker& taker_;
    };

private:
    void take() {
        std::unique_lock lock(mutex_);
        returned_.wait(lock, [this] { return !taken_; });
        taken_ = true;
    }
    void giveBack() {
        {
            const std::lock_guard lock(mutex_);
            taken_ = false;
        }
        returned_.notify_one();
    }

    std::mutex mutex_;
    std::condition_variable returned_;
    bool taken_ = false;
};

} // namespace common
