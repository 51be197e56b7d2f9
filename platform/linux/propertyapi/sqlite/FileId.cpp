#include "FileId.h"

#include <sys/stat.h>

namespace propertyapi {

FileId::FileId(const std::string& path, std::int64_t* size) noexcept {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return;
    there_ = true;
    device_ = status.st_dev;
    number_ = status.st_ino;
    if (size != nullptr)
        *size = status.st_size;
}

} // namespace propertyapi
