// SPDX-License-Identifier: Apache-2.0
#include "StoreFile.h"

#include "DirectoryLock.h"
#include "Schema.h"
#include "SoundMark.h"
#include "logger/Logger.h"
#include "posix/Descriptor.h"
#include "posix/FileStamp.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

namespace propertyapi {

namespace {

using posix::FileStamp;
using posix::HostPath;

constexpr mode_t DIRECTORY_MODE = 0775;
constexpr mode_t FILE_MODE = 0600;
constexpr mode_t OTHERS = 0077;

/// Between two tries to give the database a log.
constexpr std::chrono::milliseconds RETRY_TIME{5};

constexpr const char* REPLACED = "it was replaced meanwhile";

[[noreturn]] void failOn(const char* operation, const HostPath& path) {
    const int error = errno;
    throw DatabaseError(error == ENOSPC ? SQLITE_FULL : SQLITE_CANTOPEN,
                        std::string("cannot ") + operation + " " + path.text() + ": " +
                            std::strerror(error));
}

HostPath parentOf(const HostPath& path) {
    const auto slash = path.text().rfind('/');
    return HostPath(slash == 0 || slash == std::string::npos ? "/" : path.text().substr(0, slash));
}

bool exists(const HostPath& path) {
    return FileStamp::of(path).error == 0;
}

void flushDirectory(const HostPath& path) {
    const posix::Descriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.isOpen() || ::fsync(directory.get()) != 0)
        failOn("flush", path);
}

void makeDirectories(const HostPath& path) {
    if (exists(path))
        return;
    const HostPath parent = parentOf(path);
    makeDirectories(parent);
    if (::mkdir(path.c_str(), DIRECTORY_MODE) == 0) {
        ::chmod(path.c_str(), DIRECTORY_MODE); // whatever the process's umask is
        flushDirectory(parent);
    } else if (errno != EEXIST) {
        failOn("make directory", path);
    }
}

void removeIfThere(const HostPath& path) {
    if (::unlink(path.c_str()) != 0 && errno != ENOENT)
        failOn("remove", path);
}

/// Renames, or removes what has the new name when there is nothing to rename.
void moveOver(const HostPath& from, const HostPath& to) {
    if (::rename(from.c_str(), to.c_str()) == 0)
        return;
    if (errno != ENOENT)
        failOn("rename", from);
    removeIfThere(to);
}

/// The library does not wait for others where the database has none yet.
void requireLog(Database& database, Patience::Allowance& allowance) {
    for (;;)
        try {
            if (database.query("PRAGMA journal_mode = WAL") != "wal")
                throw DatabaseError(SQLITE_CANTOPEN, "it cannot have a write-ahead log");
            return;
        } catch (const DatabaseError& error) {
            if (!error.isBusy() || !allowance.pause(RETRY_TIME))
                throw;
        }
}

} // namespace

StoreFile::StoreFile(HostPath path, const SqliteSettings& settings)
    : path_(std::move(path)), directory_(parentOf(path_)), settings_(settings) {}

StoreFile::Prepared StoreFile::prepare(Patience::Allowance& allowance) const {
    makeDirectories(directory_);
    Opening opening{allowance};
    // Without the lock: who holds up one process that opens the store holds up no other one.
    if (auto prepared = openExisting(opening))
        return std::move(*prepared);
    const DirectoryLock lock(directory_, allowance);
    // Another process may have made or replaced it before the lock.
    if (auto prepared = openExisting(opening))
        return std::move(*prepared);
    if (exists(path_))
        putAside(opening.damage);
    create();
    lock.flush();
    return openSound(opening);
}

/// Nothing when there is no file, or a damaged one.
std::optional<StoreFile::Prepared> StoreFile::openExisting(Opening& opening) const {
    if (!exists(path_))
        return std::nullopt;
    try {
        return openSound(opening);
    } catch (const DatabaseError& error) {
        if (!error.isDamage())
            throw;
        opening.damage = error.what();
        return std::nullopt;
    }
}

std::unique_ptr<Database> StoreFile::open(Patience::Allowance& allowance) const {
    auto database = std::make_unique<Database>(path_);
    database->waitBy(&allowance);
    // Who closes it decides: a file that is damaged or was replaced is left as it was found, its
    // log beside it.
    database->moveLogOnClose(false);
    // The notification thread moves the log into the database, not a write.
    database->execute("PRAGMA wal_autocheckpoint = 0");
    return database;
}

std::unique_ptr<Database> StoreFile::open(const StoreFiles& files,
                                          Patience::Allowance& allowance) const {
    auto database = open(allowance);
    // Before it reads anything: it would take the log for its own, or make one, which nobody else
    // has.
    if (files.isDatabase(database->file()) && files.haveNames())
        return database;
    removeOrphans(files, allowance);
    throw DatabaseError(SQLITE_BUSY, REPLACED);
}

void StoreFile::removeOrphans(const StoreFiles& files, Patience::Allowance& allowance) const {
    if (files.orphans().empty())
        return;
    const DirectoryLock lock(directory_, allowance);
    removeOrphansOf(files);
}

void StoreFile::removeOrphansOf(const StoreFiles& files) {
    // Another process may have removed them, and made its own, before the lock.
    for (const HostPath& orphan : files.orphans())
        removeIfThere(orphan);
}

StoreFile::Prepared StoreFile::openSound(Opening& opening) const {
    if (const auto file = FileStamp::of(path_).id; std::exchange(opening.closed, file) != file)
        closeToOthers();
    auto database = open(opening.allowance);
    std::optional<StoreFiles> files;
    try {
        requireSound(*database, opening.allowance);
        // Before any wait for others: what has the names of log and index now is what the database
        // has open, as long as that has its own.
        if (StoreFiles now(path_, *database); !database->isMoved())
            files = std::move(now);
        // Nothing is written to a file that is not the store any more.
        if (files)
            schema::prepare(*database, settings_.journalBound, settings_.bootId);
        if (files && !database->isMoved())
            return {std::move(database), std::move(*files)};
        throw DatabaseError(SQLITE_BUSY, REPLACED);
    } catch (const DatabaseError& error) {
        if (!database->isMoved())
            throw;
        // Whatever was wrong with the file, it is not the one to be judged any more.
        if (files)
            removeOrphansOf(*files);
        throw DatabaseError(SQLITE_BUSY, error.what());
    }
}

void StoreFile::requireSound(Database& database, Patience::Allowance& allowance) const {
    // What is in a log was not there when the mark was set.
    const bool isKnown = database.walSize() == 0 && SoundMark(path_, settings_.bootId).isValid();
    if (const std::string found = isKnown ? "ok" : database.query("PRAGMA integrity_check(1)");
        found != "ok")
        throw DatabaseError(SQLITE_CORRUPT, found);
    requireLog(database, allowance);
    database.execute("PRAGMA synchronous = FULL");
    // Makes log and index where they are missing.
    database.query("SELECT count(*) FROM sqlite_schema");
}

/// Before the store is opened: log and index are made with the mode of the database.
void StoreFile::closeToOthers() const {
    std::string modes;
    int error = 0;
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const HostPath path = path_.with(suffix);
        const FileStamp stamp = FileStamp::of(path);
        if (!S_ISREG(stamp.mode) || (stamp.mode & OTHERS) == 0)
            continue;
        modes.append(modes.empty() ? "" : ", ").append(*suffix == 0 ? "mode" : suffix);
        modes.append(" ").append(stamp.permissions());
        // By its name: closing a descriptor of a database in use would give up its locks.
        if (::chmod(path.c_str(), FILE_MODE) != 0)
            error = errno;
    }
    if (modes.empty())
        return;
    if (error == 0)
        LOG(2) << "Property store " << path_.text() << " was open to others (" << modes
               << "): its mode is 0600 now";
    else
        LOG(2) << "Property store " << path_.text() << " is open to others (" << modes
               << ") and cannot be closed to them: " << std::strerror(error);
}

/// The log goes first, and with it whatever it could do to the fresh store. Under the name that it
/// gets it still belongs to the damaged database, for those who want to look into it.
void StoreFile::putAside(const std::string& damage) const {
    moveOver(path_.with("-wal"), path_.with(".corrupt-wal"));
    removeIfThere(path_.with("-shm"));
    removeIfThere(path_.with(".corrupt-shm"));
    moveOver(path_, path_.with(".corrupt"));
    LOG(3) << "Property store " << path_.text() << " is damaged (" << damage << "): kept as "
           << path_.text() << ".corrupt, starting a fresh one";
}

/// An empty file, which becomes a store when it is prepared. One that another program has made
/// meanwhile is kept.
void StoreFile::create() const {
    // A log that lies about without its database would be taken for the new one's.
    removeIfThere(path_.with("-wal"));
    removeIfThere(path_.with("-shm"));
    const posix::Descriptor file(
        ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, FILE_MODE));
    if (!file.isOpen() && errno != EEXIST)
        failOn("make", path_);
}

} // namespace propertyapi
