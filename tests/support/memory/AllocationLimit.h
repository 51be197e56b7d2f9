// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// While it lives, operator new throws std::bad_alloc for more bytes than that, in every thread:
/// the test program has its own version.
class AllocationLimit {
public:
    explicit AllocationLimit(std::size_t bytes);
    ~AllocationLimit();
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;
};

/// Whether the next allocation of the calling thread throws std::bad_alloc, once.
void failNextAllocation(bool fails);
