// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Database.h"
#include "Patience.h"
#include "SqliteSettings.h"
#include "StoreFiles.h"
#include "posix/HostPath.h"

#include <memory>
#include <optional>
#include <string>

namespace propertyapi {

/// The store's files: made when they are missing, put aside when they are damaged, closed to others
/// when they are open to them. From every thread. All operations throw DatabaseError.
class StoreFile {
public:
    StoreFile(posix::HostPath path, const SqliteSettings& settings);

    struct Prepared {
        std::unique_ptr<Database> database;
        StoreFiles files; ///< those that it has open
    };
    /// Opens the store to use it: afterwards it exists, is sound, has its tables and holds no
    /// values of another boot. The database goes on waiting by the allowance, and leaves the log
    /// where it is when it is closed.
    Prepared prepare(Patience::Allowance& allowance) const;
    /// Opens a prepared store, whose files are open, once more; fails where one of them was removed
    /// or replaced. It waits by the allowance and leaves the log, as the first one does.
    std::unique_ptr<Database> open(const StoreFiles& files, Patience::Allowance& allowance) const;
    /// Removes what lost its file but not its name of files that are still open.
    void removeOrphans(const StoreFiles& files, Patience::Allowance& allowance) const;

    const posix::HostPath& path() const { return path_; }

private:
    std::unique_ptr<Database> open(Patience::Allowance& allowance) const;
    /// What is known while the store is being opened.
    struct Opening {
        Patience::Allowance& allowance;
        std::string damage = {};   ///< of the file that was there
        posix::FileId closed = {}; ///< the file that was closed to others
    };

    std::optional<Prepared> openExisting(Opening& opening) const;
    Prepared openSound(Opening& opening) const;
    void requireSound(Database& database, Patience::Allowance& allowance) const;
    static void removeOrphansOf(const StoreFiles& files);
    void closeToOthers() const;
    void putAside(const std::string& damage) const;
    void create() const;

    const posix::HostPath path_;
    const posix::HostPath directory_;
    const SqliteSettings settings_;
};

} // namespace propertyapi
