// SPDX-License-Identifier: Apache-2.0
#include "AfterTruncation.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <utility>

namespace {

using Truncate = int (*)(int, off_t);
using Close = int (*)(int);

std::string databasePath;
std::function<void()> atTruncation;
std::function<void()> atClose;
bool isTruncated = false;

int cut(int file, off_t size) {
    const int result = ::ftruncate(file, size);
    if (result == 0 && size == 0) {
        isTruncated = true;
        if (const auto action = std::exchange(atTruncation, nullptr))
            action();
    }
    return result;
}

int shut(int file) {
    struct stat closed {};
    struct stat database {};
    const bool isDatabase = ::fstat(file, &closed) == 0 &&
                            ::stat(databasePath.c_str(), &database) == 0 &&
                            closed.st_ino == database.st_ino;
    const int result = ::close(file);
    if (isTruncated && isDatabase)
        if (const auto action = std::exchange(atClose, nullptr))
            action();
    return result;
}

} // namespace

AfterTruncation::AfterTruncation(std::string database, std::function<void()> atOnce,
                                 std::function<void()> unlocked)
    : truncate_("ftruncate", reinterpret_cast<sqlite3_syscall_ptr>(Truncate(cut)))
    , close_("close", reinterpret_cast<sqlite3_syscall_ptr>(Close(shut))) {
    databasePath = std::move(database);
    atTruncation = std::move(atOnce);
    atClose = std::move(unlocked);
    isTruncated = false;
}
