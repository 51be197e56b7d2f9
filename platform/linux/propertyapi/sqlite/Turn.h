#ifndef TURN_H
#define TURN_H

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace propertyapi {

/// Lets one thread at a time use what belongs to it. In place of a mutex where the use is input or
/// output: no lock is held meanwhile, and waiting has an end.
class Turn {
public:
    /// Waits for the turn and holds it.
    class Holder {
    public:
        /// Throws DatabaseError when the turn has not come by then.
        Holder(Turn& turn, std::chrono::steady_clock::time_point deadline);
        ~Holder();
        Holder(const Holder&) = delete;
        Holder& operator=(const Holder&) = delete;

    private:
        Turn& turn_;
    };

private:
    std::mutex mutex_;
    std::condition_variable free_;
    bool taken_ = false;
};

} // namespace propertyapi

#endif
