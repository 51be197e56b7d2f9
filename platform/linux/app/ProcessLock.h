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
    /// Throws std::runtime_error, which names the file and the other process, where that has the
    /// lock. A lock that the system refuses for another reason is one level 2 line, and the object
    /// is made without it: a phone without its services could not be repaired from afar.
    explicit ProcessLock(const std::string& name);

private:
    posix::Descriptor file_;
};

} // namespace app
