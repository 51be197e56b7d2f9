// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace propertyapi {

/// What a client of the property store may be told to do otherwise than usual.
struct SqliteSettings {
    /// How long an operation waits for a store that others are writing to.
    std::chrono::milliseconds busyTimeout = std::chrono::seconds(10);
    /// How many numbers the journal keeps (see schema). The triggers have that of the client that
    /// made them.
    std::int64_t journalBound = 65'536;
    /// This boot of the machine; empty: the kernel's boot id.
    std::string bootId = {};
    /// Nobody has written for that long: time to move the write-ahead log into the database. Also
    /// the least time from one such move to the next.
    std::chrono::milliseconds quietTime = std::chrono::seconds(1);
    /// Sizes of the write-ahead log, in bytes: from the first one on it is moved when it is quiet,
    /// from the second one on even while somebody writes, and from the third one on by the next
    /// write.
    std::int64_t walIdleLimit = 4 << 20;
    std::int64_t walBusyLimit = 8 << 20;
    std::int64_t walWriterLimit = 16 << 20;
};

} // namespace propertyapi
