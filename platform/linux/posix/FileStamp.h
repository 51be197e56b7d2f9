// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FileId.h"
#include "HostPath.h"

#include <cstdint>
#include <string>

namespace posix {

/// Tells one state of a file from the next without reading it.
struct FileStamp {
    FileId id;
    std::uint32_t mode = 0;
    std::int64_t size = 0; ///< bytes
    std::int64_t modifiedSeconds = 0;
    std::int64_t modifiedNanoseconds = 0;
    std::int64_t changedSeconds = 0; ///< of the inode: a copy may bring its time along
    std::int64_t changedNanoseconds = 0;
    int error = 0; ///< why nothing is known about it; 0: the other values hold

    /// Of the file that has this name on the machine now.
    static FileStamp of(const HostPath& path) noexcept;

    bool isMissing() const noexcept;
    /// "0640"
    std::string permissions() const;
    bool operator==(const FileStamp&) const = default;
};

} // namespace posix
