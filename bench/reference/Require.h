// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

/// Throws std::runtime_error, which names what failed, unless the condition holds.
inline void require(bool condition, const char* what) {
    if (!condition)
        throw std::runtime_error(std::string("raw run: ") + what);
}
