// SPDX-License-Identifier: Apache-2.0
#include "DirectoryLock.h"

#include "DatabaseError.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace propertyapi {

namespace {

constexpr std::chrono::milliseconds RETRY_TIME{5};

[[noreturn]] void fail(const char* what, int error) {
    throw DatabaseError(error == EWOULDBLOCK ? SQLITE_BUSY : SQLITE_CANTOPEN,
                        what + std::string(std::strerror(error)));
}

} // namespace

DirectoryLock::DirectoryLock(const posix::HostPath& directory, Patience::Allowance& allowance)
    : directory_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!directory_.isOpen())
        fail("cannot open its directory: ", errno);
    while (::flock(directory_.get(), LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        // There is no lock call with a time limit. The holder needs a few milliseconds.
        if (error == EINTR || (error == EWOULDBLOCK && allowance.pause(RETRY_TIME)))
            continue;
        fail("cannot lock its directory: ", error);
    }
}

void DirectoryLock::flush() const {
    if (::fsync(directory_.get()) != 0)
        fail("cannot flush its directory: ", errno);
}

} // namespace propertyapi
