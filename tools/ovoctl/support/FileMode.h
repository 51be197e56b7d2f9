// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/FileStamp.h"

#include <iomanip>
#include <sstream>
#include <string>

namespace ovoctl {

/// True for a file that others than its owner have some permission for.
inline bool isOpenToOthers(const posix::FileStamp& stamp) {
    return (stamp.mode & 0077U) != 0;
}

/// A file's permissions in octal digits: "0644".
inline std::string modeOf(const posix::FileStamp& stamp) {
    std::ostringstream text;
    text << std::oct << std::setw(4) << std::setfill('0') << (stamp.mode & 07777U);
    return text.str();
}

} // namespace ovoctl
