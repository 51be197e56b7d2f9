#ifndef STOREFILE_H
#define STOREFILE_H

#include "Database.h"
#include "SqliteSettings.h"

#include <memory>
#include <string>

namespace propertyapi {

/// The store's files: made when they are missing, put aside when they are damaged.
class StoreFile {
public:
    /// path: of this machine.
    StoreFile(std::string path, const SqliteSettings& settings);

    /// Opens the store for the first time in this client: afterwards it exists, is sound, has
    /// its tables and holds no values of another boot. Throws DatabaseError, and std::runtime_error
    /// for what concerns its directory.
    std::unique_ptr<Database> prepare() const;
    /// Opens a prepared store once more. Throws DatabaseError.
    std::unique_ptr<Database> open() const;

private:
    std::unique_ptr<Database> openSound() const;
    void createMissing() const;
    std::unique_ptr<Database> replaceDamaged() const;
    void putAside() const;

    const std::string path_;
    const std::string directory_;
    const SqliteSettings settings_;
};

} // namespace propertyapi

#endif
