#ifndef DIRECTORYLOCK_H
#define DIRECTORYLOCK_H

#include <chrono>
#include <string>

namespace propertyapi {

/// Keeps other processes, and other threads, from making or replacing a store in a directory at the
/// same time. Does not concern those who only use one.
class DirectoryLock {
public:
    /// Waits for the lock for that long. directory: a path of this machine. Throws DatabaseError.
    DirectoryLock(const std::string& directory, std::chrono::milliseconds timeout);
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
