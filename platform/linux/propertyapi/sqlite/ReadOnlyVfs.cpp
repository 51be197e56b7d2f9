// SPDX-License-Identifier: Apache-2.0
#include "ReadOnlyVfs.h"

#include "DatabaseError.h"

#include <sqlite3.h>
#include <unistd.h>

#include <string>

namespace propertyapi {

namespace {

constexpr const char* NAME = "ovo-read-only";
constexpr int NAMED_FILES =
    SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_SUPER_JOURNAL | SQLITE_OPEN_WAL;
constexpr int TO_WRITE = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;

sqlite3_vfs* systemVfs() {
    static sqlite3_vfs* const found = sqlite3_vfs_find("unix");
    return found;
}

/// The library then makes an index of its own, in memory.
int mapNoIndex(sqlite3_file* /*file*/, int /*page*/, int /*size*/, int /*extend*/,
               volatile void** memory) noexcept {
    *memory = nullptr;
    return SQLITE_READONLY_CANTINIT;
}

/// Nor are there locks in it.
int lockNoIndex(sqlite3_file* /*file*/, int /*first*/, int /*count*/, int /*flags*/) noexcept {
    return SQLITE_OK;
}

/// All databases of one way to the files have the same operations.
const sqlite3_io_methods* withoutIndex(const sqlite3_io_methods& ofDatabase) {
    static const sqlite3_io_methods methods = [&] {
        sqlite3_io_methods changed = ofDatabase;
        changed.xShmMap = mapNoIndex;
        changed.xShmLock = lockNoIndex;
        return changed;
    }();
    return &methods;
}

bool isMissing(const std::string& path) {
    return ::access(path.c_str(), F_OK) != 0;
}

int open(sqlite3_vfs* self, const char* path, sqlite3_file* file, int flags,
         int* flagsOut) noexcept {
    if ((flags & NAMED_FILES) != 0)
        flags = (flags & ~TO_WRITE) | SQLITE_OPEN_READONLY;
    // Opened as a log it would get the owner of the database.
    if ((flags & SQLITE_OPEN_WAL) != 0)
        flags = (flags & ~SQLITE_OPEN_WAL) | SQLITE_OPEN_SUBJOURNAL;
    const int code = systemVfs()->xOpen(self, path, file, flags, flagsOut);
    // Whose index is missing has nobody at work on its log.
    if (code == SQLITE_OK && (flags & SQLITE_OPEN_MAIN_DB) != 0 &&
        isMissing(std::string(path) + "-shm"))
        file->pMethods = withoutIndex(*file->pMethods);
    return code;
}

int keep(sqlite3_vfs* /*self*/, const char* /*path*/, int /*isFlushed*/) noexcept {
    return SQLITE_OK;
}

/// The system's, but for what makes and removes files.
sqlite3_vfs makeVfs() {
    if (systemVfs() == nullptr)
        throw DatabaseError(SQLITE_ERROR, "the library has no way to the files");
    sqlite3_vfs vfs = *systemVfs();
    vfs.zName = NAME;
    vfs.pNext = nullptr;
    vfs.xOpen = open;
    vfs.xDelete = keep;
    return vfs;
}

} // namespace

const char* readOnlyVfs() {
    static sqlite3_vfs vfs = makeVfs();
    [[maybe_unused]] static const int registered = sqlite3_vfs_register(&vfs, 0);
    return NAME;
}

} // namespace propertyapi
