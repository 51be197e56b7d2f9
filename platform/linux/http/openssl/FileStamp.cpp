#include "FileStamp.h"

#include "Root.h"

#include <sys/stat.h>

#include <cerrno>

namespace http {

FileStamp FileStamp::of(const std::string& path) {
    FileStamp stamp;
    struct stat status {};
    if (::stat(root::toHost(path).c_str(), &status) != 0) {
        stamp.error = errno;
        return stamp;
    }
    stamp.device = status.st_dev;
    stamp.inode = status.st_ino;
    stamp.mode = status.st_mode;
    stamp.size = status.st_size;
    stamp.modifiedSeconds = status.st_mtim.tv_sec;
    stamp.modifiedNanoseconds = status.st_mtim.tv_nsec;
    stamp.changedSeconds = status.st_ctim.tv_sec;
    stamp.changedNanoseconds = status.st_ctim.tv_nsec;
    return stamp;
}

bool FileStamp::isMissing() const {
    return error == ENOENT || error == ENOTDIR;
}

} // namespace http
