// SPDX-License-Identifier: Apache-2.0
#include "DirectoryListing.h"

#include "text/Quote.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>

namespace filesystem {

/// Not by the library's stream, which asks for the directory's state and flags three times and
/// takes 32 KiB for its entries.
const dirent64* DirectoryListing::next() {
    for (;;) {
        if (next_ == size_) {
            const ssize_t size = ::getdents64(directory_.get(), entries_.data(), entries_.size());
            const int cause = size < 0 ? errno : 0;
            // A directory that was removed has no entries.
            if (cause != 0 && cause != ENOENT)
                throw std::system_error(cause, std::generic_category(),
                                        "Reading the directory " + quote(phonePath_));
            size_ = static_cast<std::size_t>(std::max<ssize_t>(size, 0));
            next_ = 0;
        }
        if (size_ == 0)
            return nullptr;
        const auto* entry = reinterpret_cast<const dirent64*>(entries_.data() + next_);
        next_ += entry->d_reclen;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            return entry;
    }
}

} // namespace filesystem
