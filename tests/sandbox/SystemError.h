// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <string>
#include <system_error>

namespace sandbox {

/// Throws what errno says when an operation has failed.
inline void check(bool hasWorked, const std::string& operation) {
    if (!hasWorked)
        throw std::system_error(errno, std::generic_category(), operation);
}

} // namespace sandbox
