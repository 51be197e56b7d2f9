// SPDX-License-Identifier: Apache-2.0
#include "FileStamp.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdio>

namespace posix {

namespace {

constexpr std::uint32_t ALL_BITS = 07777;

} // namespace

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

std::string FileStamp::permissions() const {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "%04o", unsigned{mode & ALL_BITS});
    return text.data();
}

} // namespace posix
