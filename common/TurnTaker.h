#ifndef TURNTAKER_H
#define TURNTAKER_H

#include <chrono>
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
        explicit Turn(TurnTaker& taker) : taker_(taker), held_(taker_.take()) {}
        /// Waits no longer than to the deadline: isHeld() says whether the turn has come.
        Turn(TurnTaker& taker, std::chrono::steady_clock::time_point deadline)
            : taker_(taker), held_(taker_.takeUntil(deadline)) {}
        ~Turn() {
            if (held_)
                taker_.giveBack();
        }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

        bool isHeld() const { return held_; }

    private:
        TurnTaker& taker_;
        const bool held_;
    };

private:
    bool take() {
        std::unique_lock lock(mutex_);
        returned_.wait(lock, [this] { return !taken_; });
        return taken_ = true;
    }
    bool takeUntil(std::chrono::steady_clock::time_point deadline) {
        std::unique_lock lock(mutex_);
        if (!returned_.wait_until(lock, deadline, [this] { return !taken_; }))
            return false;
        return taken_ = true;
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

#endif
