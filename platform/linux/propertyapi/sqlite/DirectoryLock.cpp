#include "DirectoryLock.h"

#include "DatabaseError.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace propertyapi {

namespace {

[[noreturn]] void fail(const char* what, int error) {
    throw DatabaseError(error == EWOULDBLOCK ? SQLITE_BUSY : SQLITE_CANTOPEN,
                        what + std::string(std::strerror(error)));
}

} // namespace

DirectoryLock::DirectoryLock(const std::string& directory, Purpose purpose,
                             std::chrono::milliseconds timeout)
    : file_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (file_ < 0)
        fail("cannot open its directory: ", errno);
    const int operation = (purpose == Purpose::MAKING ? LOCK_EX : LOCK_SH) | LOCK_NB;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (::flock(file_, operation) != 0) {
        const int error = errno;
        if (error != EINTR &&
            (error != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline)) {
            ::close(file_);
            fail("cannot lock its directory: ", error);
        }
        // There is no lock call with a time limit. The holder needs a few milliseconds.
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

DirectoryLock::~DirectoryLock() {
    ::close(file_);
}

void DirectoryLock::flush() const {
    if (::fsync(file_) != 0)
        fail("cannot flush its directory: ", errno);
}

} // namespace propertyapi
