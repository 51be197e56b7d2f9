// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace os {

/// Runs a command below the phone's root directory and waits for its end, at most timeoutMs
/// milliseconds; then it is killed together with its child processes.
///
/// command: an absolute path, optionally followed by blank-separated arguments (no shell is
/// involved). Returns the exit status; 128 + the signal's number when a signal ended it; -1 when it
/// could not be started, ran into the time-out or was ended by stopCommands() (one level 2 log line
/// says which). Does not throw. Any thread.
int execute(const std::string& command, unsigned int timeoutMs);

/// Kills every running command, and from now on each one at its start: the process is ending.
/// Permanent. Any thread; does not block.
void stopCommands() noexcept;

} // namespace os
