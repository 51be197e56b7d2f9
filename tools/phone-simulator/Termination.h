#ifndef SIMULATOR_TERMINATION_H
#define SIMULATOR_TERMINATION_H

#include <chrono>
#include <optional>

namespace simulator::termination {

/// Waits until the process is told to end (SIGTERM or SIGINT, both blocked by app::SignalBlock) or
/// the time is over.
void wait(std::optional<std::chrono::milliseconds> time);

/// Tells this process to end. Any thread.
void request();

} // namespace simulator::termination

#endif
