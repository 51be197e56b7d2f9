// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/FileId.h"
#include "posix/HostPath.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace propertyapi {

class Database;

/// The three files that make up a store in use: the database, its write-ahead log and the index of
/// that. Remembers which database somebody has opened and which files had the names of the others
/// when it was made, and says whether they still have them. From every thread.
class StoreFiles {
public:
    /// path: where the database was opened, which is still open.
    StoreFiles(posix::HostPath path, const Database& database);

    /// All three were there.
    bool areComplete() const noexcept;
    bool isDatabase(const posix::FileId& file) const noexcept { return file == database_; }
    /// Looks at the database alone.
    bool haveDatabase() const noexcept;
    /// Looks at the log alone: its size, nothing when it lost its name.
    std::optional<std::int64_t> logSize() const noexcept;
    /// Looks at all three.
    bool haveNames() const noexcept;
    /// True when the last connection to be closed may move the log into the database and remove it
    /// by its name: the database has its own, and no other file has the log's.
    bool mayRemoveLog() const noexcept;
    /// Log and index as far as they have their names and the file that they belong to has not:
    /// whoever opens the store would take them for those of the file that is there now.
    std::vector<posix::HostPath> orphans() const;

private:
    posix::HostPath databasePath_;
    posix::HostPath logPath_;
    posix::HostPath indexPath_;
    posix::FileId database_;
    posix::FileId log_;
    posix::FileId index_;
};

} // namespace propertyapi
