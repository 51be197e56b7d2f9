// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/Descriptor.h"

#include <dirent.h>

#include <array>
#include <cstddef>
#include <string>
#include <utility>

namespace filesystem {

/// Iterates over the entries of a directory, in no order. Entries may be removed meanwhile. Memory
/// does not grow with the directory.
class DirectoryListing {
public:
    /// directory: open to be read, and nothing was read from it. phonePath: for messages.
    DirectoryListing(posix::Descriptor directory, std::string phonePath)
        : directory_(std::move(directory)), phonePath_(std::move(phonePath)) {}

    /// Null at the end, otherwise valid until the next call. Without "." and "..". Throws
    /// std::system_error.
    const dirent64* next();

    int directory() const { return directory_.get(); }
    const std::string& phonePath() const { return phonePath_; }

private:
    const posix::Descriptor directory_;
    const std::string phonePath_;
    alignas(dirent64) std::array<char, 4096> entries_{}; ///< as the system gives them
    std::size_t size_ = 0;                               ///< of what is there, in bytes ...
    std::size_t next_ = 0;                               ///< ... and what of it comes next
};

} // namespace filesystem
