// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/FileId.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace propertyapi {

/// The three files that make up a store in use: the database, its write-ahead log and the index of
/// that. Remembers which files had the names when it was made, by somebody who has them open, and
/// says whether they still have them. From every thread.
class StoreFiles {
public:
    /// Paths of this machine.
    StoreFiles(std::string database, std::string log);

    /// All three were there.
    bool areComplete() const noexcept;
    /// Looks at the database alone.
    bool haveDatabase() const noexcept;
    /// Looks at the log alone: its size, nothing when it lost its name.
    std::optional<std::int64_t> logSize() const noexcept;
    /// Looks at all three.
    bool haveNames() const noexcept;
    /// True when who closes the store last may move the log into the database and remove it by its
    /// name: the database has its own, and no other file has the log's.
    bool mayRemoveLog() const noexcept;
    /// What still has its name of log and index, where the file that it belongs to has not: whoever
    /// opens the store would take it for that of the file that is there now.
    std::vector<std::string> orphans() const;

private:
    std::string databasePath_;
    std::string logPath_;
    std::string indexPath_;
    posix::FileId database_;
    posix::FileId log_;
    posix::FileId index_;
};

} // namespace propertyapi
