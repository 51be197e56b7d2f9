// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Patience.h"
#include "posix/Descriptor.h"

#include <string>

namespace propertyapi {

/// Keeps other processes, and other threads, from making or replacing a store in a directory while
/// one is opened, made or replaced there. Does not concern those who have one open.
class DirectoryLock {
public:
    enum class Purpose { OPENING, MAKING };

    /// Waits for the lock as the allowance says: several may open at the same time, one alone may
    /// make. directory: a path of this machine. Throws DatabaseError.
    DirectoryLock(const std::string& directory, Purpose purpose, Patience::Allowance& allowance);

    /// Brings names made, changed and removed in the directory to the disk. Throws DatabaseError.
    void flush() const;

private:
    posix::Descriptor directory_;
};

} // namespace propertyapi
