// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace posix {

/// Which file has a name: no two files have the same id as long as both are there, under whatever
/// name, or open. By default of no file.
struct FileId {
    bool isFile = false;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;

    bool operator==(const FileId&) const = default;
};

} // namespace posix
