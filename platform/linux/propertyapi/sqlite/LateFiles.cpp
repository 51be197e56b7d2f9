// SPDX-License-Identifier: Apache-2.0
// On 32-bit systems this file sees the status of a file as a library with 32-bit times does.
#undef _TIME_BITS
#include "LateFiles.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <limits>

namespace propertyapi {

namespace {

using ByPath = int (*)(const char*, struct stat*);
using ByDescriptor = int (*)(int, struct stat*);

/// What the library called before.
struct Calls {
    ByPath stat = ::stat;
    ByPath lstat = ::lstat;
    ByDescriptor fstat = ::fstat;
};

Calls& original() {
    static Calls calls;
    return calls;
}

std::time_t secondsOf(const struct statx_timestamp& time) {
    constexpr std::int64_t LATEST = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::time_t>(std::min<std::int64_t>(time.tv_sec, LATEST));
}

/// With the latest time that fits in place of a later one; the library does not use it.
int tellLate(int directory, const char* path, int flags, struct stat& status) {
    struct statx found {};
    if (::statx(directory, path, flags, STATX_BASIC_STATS, &found) != 0)
        return -1;
    status = {};
    status.st_dev = ::makedev(found.stx_dev_major, found.stx_dev_minor);
    status.st_ino = found.stx_ino;
    status.st_mode = found.stx_mode;
    status.st_nlink = found.stx_nlink;
    status.st_uid = found.stx_uid;
    status.st_gid = found.stx_gid;
    status.st_rdev = ::makedev(found.stx_rdev_major, found.stx_rdev_minor);
    status.st_size = static_cast<off_t>(found.stx_size);
    status.st_blksize = static_cast<blksize_t>(found.stx_blksize);
    status.st_blocks = static_cast<blkcnt_t>(found.stx_blocks);
    status.st_atim.tv_sec = secondsOf(found.stx_atime);
    status.st_mtim.tv_sec = secondsOf(found.stx_mtime);
    status.st_ctim.tv_sec = secondsOf(found.stx_ctime);
    return 0;
}

bool isLate(int result) {
    return result != 0 && errno == EOVERFLOW;
}

int tellOfPath(const char* path, struct stat* status) {
    const int result = original().stat(path, status);
    return isLate(result) ? tellLate(AT_FDCWD, path, 0, *status) : result;
}

int tellOfLink(const char* path, struct stat* status) {
    const int result = original().lstat(path, status);
    return isLate(result) ? tellLate(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, *status) : result;
}

int tellOfOpen(int file, struct stat* status) {
    const int result = original().fstat(file, status);
    return isLate(result) ? tellLate(file, "", AT_EMPTY_PATH, *status) : result;
}

/// Puts a call in the place of the library's own, where it has one.
template <typename Call>
void replace(sqlite3_vfs& vfs, const char* name, Call& own, Call replacement) {
    const sqlite3_syscall_ptr known = vfs.xGetSystemCall(&vfs, name);
    if (known == nullptr)
        return;
    own = reinterpret_cast<Call>(known);
    vfs.xSetSystemCall(&vfs, name, reinterpret_cast<sqlite3_syscall_ptr>(replacement));
}

bool replaceCalls() {
    sqlite3_vfs* const vfs = sqlite3_vfs_find("unix");
    if (vfs == nullptr || vfs->iVersion < 3)
        return false;
    replace(*vfs, "stat", original().stat, ByPath(tellOfPath));
    replace(*vfs, "lstat", original().lstat, ByPath(tellOfLink));
    replace(*vfs, "fstat", original().fstat, ByDescriptor(tellOfOpen));
    return true;
}

} // namespace

void admitLateFiles() {
    [[maybe_unused]] static const bool replaced = replaceCalls();
}

} // namespace propertyapi
