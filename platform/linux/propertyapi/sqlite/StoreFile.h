// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Database.h"
#include "Patience.h"
#include "SqliteSettings.h"
#include "StoreFiles.h"

#include <memory>
#include <string>

namespace propertyapi {

/// The store's files: made when they are missing, put aside when they are damaged, closed to others
/// when they are open to them. From every thread. What throws throws DatabaseError.
class StoreFile {
public:
    /// path: of this machine.
    StoreFile(std::string path, const SqliteSettings& settings);

    /// Opens the store to use it: afterwards it exists, is sound, has its tables and holds no
    /// values of another boot. The database goes on waiting by the allowance.
    std::unique_ptr<Database> prepare(Patience::Allowance& allowance) const;
    /// Opens a prepared store once more. The same holds for the allowance.
    std::unique_ptr<Database> open(Patience::Allowance& allowance) const;
    /// Removes what lost its file but not its name of files that are still open.
    void removeOrphans(const StoreFiles& files, Patience::Allowance& allowance) const;

    const std::string& path() const { return path_; }

private:
    /// What is known in the course of preparing it.
    struct Preparation {
        Patience::Allowance& allowance;
        std::string damage = {};   ///< of the file that was found
        posix::FileId closed = {}; ///< the file that was looked at for being open to others
    };

    /// Nothing when the store is missing or damaged.
    std::unique_ptr<Database> openExisting(Preparation& preparation) const;
    std::unique_ptr<Database> openSound(Preparation& preparation) const;
    void closeToOthers(Preparation& preparation) const;
    void putAside(const std::string& damage) const;
    void make() const;

    const std::string path_;
    const std::string directory_;
    const SqliteSettings settings_;
};

} // namespace propertyapi
