// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/Descriptor.h"

#include <string>

namespace app {

/// Keeps a second process from serving under the same name on the bus: a lock on
/// /run/halden/NAME.lock below the phone's root, held while the object lives. The kernel drops it
/// with the process, however that ends. The file stays; it holds the number of the process that
/// took the lock last.
class ProcessLock {
public:
    /// Throws std::runtime_error, which names the file and the other process, if that one has the
    /// lock. If the system refuses the lock for another reason, the object is made without it, with
    /// one level 2 line: a phone without its services could not be repaired remotely.
    explicit ProcessLock(const std::string& name);

private:
    posix::Descriptor file_;
};

} // namespace app
