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

    /// Opens the store for the first time in this client: afterwards it exists, is sound, has its
    /// tables and holds no values of another boot. Throws DatabaseError.
    std::unique_ptr<Database> prepare() const;
    /// Opens a prepared store once more. Throws DatabaseError.
    std::unique_ptr<Database> open() const;

private:
    /// Nothing when the store is missing or damaged; then damage says how.
    std::unique_ptr<Database> openExisting(std::string& damage) const;
    std::unique_ptr<Database> openSound() const;
    void putAside(const std::string& damage) const;
    void make() const;

    const std::string path_;
    const std::string directory_;
    const SqliteSettings settings_;
};

} // namespace propertyapi

#endif
