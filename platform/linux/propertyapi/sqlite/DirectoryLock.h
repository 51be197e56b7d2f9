#ifndef DIRECTORYLOCK_H
#define DIRECTORYLOCK_H

#include "Patience.h"

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
    ~DirectoryLock();
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

    /// Brings names made, changed and removed in the directory to the disk. Throws DatabaseError.
    void flush() const;

private:
    int file_;
};

} // namespace propertyapi

#endif
