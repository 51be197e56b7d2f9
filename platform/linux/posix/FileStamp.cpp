// SPDX-License-Identifier: Apache-2.0
#include "FileStamp.h"

#include <sys/stat.h>

#include <cerrno>

namespace posix {

FileStamp FileStamp::of(const HostPath& path) noexcept {
    FileStamp stamp;
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        stamp.error = errno;
        return stamp;
    }
    stamp.id = {true, status.st_dev, status.st_ino};
    stamp.mode = status.st_mode;
    stamp.size = status.st_size;
    stamp.modifiedSeconds = status.st_mtim.tv_sec;
    stamp.modifiedNanoseconds = status.st_mtim.tv_nsec;
    stamp.changedSeconds = status.st_ctim.tv_sec;
    stamp.changedNanoseconds = status.st_ctim.tv_nsec;
    return stamp;
}

bool FileStamp::isMissing() const noexcept {
    return error == ENOENT || error == ENOTDIR;
}

} // namespace posix
