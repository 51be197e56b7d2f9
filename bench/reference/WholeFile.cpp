// SPDX-License-Identifier: Apache-2.0
#include "WholeFile.h"

#include "Require.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

void writeWhole(const std::string& path, const std::string& content) {
    const std::string temporary = path.substr(0, path.rfind('/')) + "/.tmp-0123456789abcdef";
    const int file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const bool isWritten =
        ::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()) &&
        ::fsync(file) == 0;
    ::close(file);
    require(isWritten && std::rename(temporary.c_str(), path.c_str()) == 0, "write the file");
}

std::string readWhole(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    require(::fstat(file, &status) == 0, "open the file");
    std::string content(static_cast<std::size_t>(status.st_size), '\0');
    const bool isRead = ::read(file, content.data(), content.size()) == status.st_size;
    ::close(file);
    require(isRead, "read the file");
    return content;
}
