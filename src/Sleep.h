#ifndef SLEEP_H
#define SLEEP_H

#include <chrono>
#include <functional>
#include <thread>

namespace ovo {

/// Lets the calling thread sleep. Given to those who wait for something by looking again and again,
/// so that their waiting can be observed without taking its time.
using Sleep = std::function<void(std::chrono::milliseconds)>;

inline void sleepFor(std::chrono::milliseconds duration) {
    std::this_thread::sleep_for(duration);
}

} // namespace ovo

#endif
