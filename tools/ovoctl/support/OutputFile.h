// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace ovoctl {

/// Where a command puts a result.
struct OutputFile {
    std::string path; ///< of this machine; "-": the standard output
    unsigned int mode = 0600;
    bool replaces = false; ///< what has the name already

    /// Throws Misuse when something has the name that is not to be replaced.
    void check() const;
    /// The file is there as a whole, and on the disk, or not at all. Throws Misuse as check() does,
    /// and Unaskable when it cannot be written.
    void write(std::string_view content) const;
};

} // namespace ovoctl
