// SPDX-License-Identifier: Apache-2.0
#include "DirectoryListing.h"

#include "posix/Descriptor.h"
#include "text/Quote.h"

#include <fcntl.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace filesystem {

DirectoryListing::DirectoryListing(int directory, const std::string& phonePath)
    : phonePath_(phonePath) {
    // A descriptor of its own: the stream moves its position and closes it.
    posix::Descriptor listed(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (listed.isOpen())
        stream_.reset(::fdopendir(listed.get()));
    if (!stream_)
        fail(errno);
    listed.release();
}

const char* DirectoryListing::next() {
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(stream_.get());
        if (entry == nullptr && errno != 0)
            fail(errno);
        if (entry == nullptr)
            return nullptr;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            return entry->d_name;
    }
}

void DirectoryListing::fail(int cause) const {
    throw std::system_error(cause, std::generic_category(),
                            "Reading the directory " + quote(phonePath_));
}

} // namespace filesystem
