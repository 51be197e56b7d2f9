// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LibraryCall.h"

#include <functional>

/// Sees other processes refuse the database library a lock that it asks for in this one, and does
/// something after that. One at a time; made while no client of the store lives.
class AfterRefusedLock {
public:
    /// action: called each time, on the thread that asked.
    explicit AfterRefusedLock(std::function<void()> action);

private:
    const LibraryCall control_;
};
