// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LibraryCall.h"

#include <functional>
#include <string>

/// Sees the database library cut a write-ahead log to no bytes in this process, and does something
/// after that. One at a time; made while no client of the store lives.
class AfterTruncation {
public:
    /// atOnce: called while the library still holds its locks. unlocked: called when it has given
    /// up all of them and closes the database, a path of this machine. Both are called once, on the
    /// thread that does it.
    AfterTruncation(std::string database, std::function<void()> atOnce,
                    std::function<void()> unlocked = nullptr);

private:
    const LibraryCall truncate_;
    const LibraryCall close_;
};
