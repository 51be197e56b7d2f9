#include "Turn.h"

#include "DatabaseError.h"

#include <sqlite3.h>

namespace propertyapi {

Turn::Holder::Holder(Turn& turn, std::chrono::steady_clock::time_point deadline) : turn_(turn) {
    std::unique_lock lock(turn_.mutex_);
    if (!turn_.free_.wait_until(lock, deadline, [this] { return !turn_.taken_; }))
        throw DatabaseError(SQLITE_BUSY, "other threads are writing");
    turn_.taken_ = true;
}

Turn::Holder::~Holder() {
    {
        const std::lock_guard lock(turn_.mutex_);
        turn_.taken_ = false;
    }
    turn_.free_.notify_one();
}

} // namespace propertyapi
