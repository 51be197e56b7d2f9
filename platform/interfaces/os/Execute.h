#ifndef OS_EXECUTE_H
#define OS_EXECUTE_H

#include <string>

namespace os {

/// Runs a command below the phone's root directory and waits for its end, at most timeoutMs
/// milliseconds; then it is killed together with whatever it started.
///
/// command: an absolute path, optionally followed by blank-separated arguments (no shell is
/// involved). Returns the exit status; 128 + the signal's number when a signal ended it; -1 when it
/// could not be started or ran into the time-out (one level 2 log line says which). Does not throw.
/// Any thread.
int execute(const std::string& command, unsigned int timeoutMs);

} // namespace os

#endif
