// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// No larger piece of memory is to be had by the calling thread while it lives: the test program
/// has its own operator new.
class LargestPiece {
public:
    /// @param size in bytes
    explicit LargestPiece(std::size_t size);
    ~LargestPiece();
    LargestPiece(const LargestPiece&) = delete;
    LargestPiece& operator=(const LargestPiece&) = delete;
};
