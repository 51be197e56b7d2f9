#include "Turns.h"

namespace http {

Turns::Turn::Turn(Turns& turns) : turns_(turns) {
    std::unique_lock lock(turns_.mutex_);
    turns_.ended_.wait(lock, [this] { return !turns_.taken_; });
    turns_.taken_ = true;
}

Turns::Turn::~Turn() {
    {
        const std::lock_guard lock(turns_.mutex_);
        turns_.taken_ = false;
    }
    turns_.ended_.notify_one();
}

} // namespace http
