// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Patience.h"
#include "posix/Descriptor.h"
#include "posix/HostPath.h"

namespace propertyapi {

/// Keeps other processes, and other threads, from making a store in a directory, or putting one
/// aside, meanwhile. Does not concern those who open one or have one open.
class DirectoryLock {
public:
    /// Waits for the lock as the allowance says. Throws DatabaseError.
    DirectoryLock(const posix::HostPath& directory, Patience::Allowance& allowance);

    /// Flushes names made, changed and removed in the directory to the disk. Throws DatabaseError.
    void flush() const;

private:
    posix::Descriptor directory_;
};

} // namespace propertyapi
