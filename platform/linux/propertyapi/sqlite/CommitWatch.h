// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/Descriptor.h"
#include "posix/HostPath.h"
#include "posix/WakeUp.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace propertyapi {

/// Tells a thread that somebody may have committed something: this process says so, and for others
/// the kernel tells that the write-ahead log was written to. The kernel also tells when a file of
/// the store gets or loses its name.
class CommitWatch {
public:
    enum class Cause { TIME, LOG_WRITTEN, NAMES_CHANGED, WOKEN };

    /// Neither the log nor the database need exist, their directory must. Throws
    /// std::runtime_error.
    explicit CommitWatch(const posix::HostPath& log);

    /// Ends the wait that is in progress or the next one. From every thread.
    void wake() noexcept { wake_.signal(); }
    /// Waits for a cause, until the time given. From one thread.
    Cause wait(std::chrono::steady_clock::time_point until) noexcept;
    /// Waits for wake(), until the time given, and takes what the kernel has told meanwhile:
    /// NAMES_CHANGED or nothing but LOG_WRITTEN. From the same thread.
    Cause waitForWake(std::chrono::steady_clock::time_point until) noexcept;
    /// Watches the directory and the files that have the names now: to be called when the directory
    /// may be another one. False when there is none. From the thread that waits.
    bool follow() noexcept;

private:
    bool poll(std::size_t count, std::chrono::steady_clock::time_point until) noexcept;
    void followLog() noexcept;
    bool isOurs(const char* name) const noexcept;
    Cause takeEvents() noexcept;

    const posix::HostPath log_;
    const std::string directory_;
    const std::string database_; ///< the database's name, with which all names begin
    posix::Descriptor events_;   ///< of inotify
    posix::WakeUp wake_;
    int directoryWatch_ = -1;
    int logWatch_ = -1;
};

} // namespace propertyapi
