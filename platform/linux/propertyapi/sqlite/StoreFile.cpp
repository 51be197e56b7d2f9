// SPDX-License-Identifier: Apache-2.0
#include "StoreFile.h"

#include "DirectoryLock.h"
#include "Schema.h"
#include "logger/Logger.h"
#include "posix/FileStamp.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <utility>

namespace propertyapi {

namespace {

constexpr mode_t DIRECTORY_MODE = 0775;
constexpr mode_t FILE_MODE = 0600;
constexpr mode_t OTHERS = 0077;
constexpr mode_t ALL_BITS = 07777;

[[noreturn]] void failOn(const char* operation, const std::string& path) {
    const int error = errno;
    throw DatabaseError(error == ENOSPC ? SQLITE_FULL : SQLITE_CANTOPEN,
                        std::string("cannot ") + operation + " " + path + ": " +
                            std::strerror(error));
}

std::string parentOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? std::string("/") : path.substr(0, slash);
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

/// 0 where there is no such file.
mode_t modeOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) ? status.st_mode & ALL_BITS
                                                                         : 0;
}

/// Brings a file, or the names in a directory, to the disk. Not for a database in use: closing it
/// would give up this process's locks on it.
void flush(const std::string& path, int mode) {
    const int file = ::open(path.c_str(), mode | O_CLOEXEC);
    const bool flushed = file >= 0 && ::fsync(file) == 0;
    const int error = errno;
    if (file >= 0)
        ::close(file);
    errno = error;
    if (!flushed)
        failOn("flush", path);
}

void makeDirectories(const std::string& path) {
    if (exists(path))
        return;
    const std::string parent = parentOf(path);
    makeDirectories(parent);
    if (::mkdir(path.c_str(), DIRECTORY_MODE) == 0) {
        ::chmod(path.c_str(), DIRECTORY_MODE); // whatever the process's umask is
        flush(parent, O_RDONLY | O_DIRECTORY);
    } else if (errno != EEXIST) {
        failOn("make directory", path);
    }
}

void createEmpty(const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, FILE_MODE);
    if (file < 0)
        failOn("make", path);
    ::close(file);
}

void removeIfThere(const std::string& path) {
    if (::unlink(path.c_str()) != 0 && errno != ENOENT)
        failOn("remove", path);
}

/// Renames, or removes what has the new name when there is nothing to rename.
void moveOver(const std::string& from, const std::string& to) {
    if (::rename(from.c_str(), to.c_str()) == 0)
        return;
    if (errno != ENOENT)
        failOn("rename", from);
    removeIfThere(to);
}

/// Gives a file another name, unless a file has that already.
void renameUnlessTaken(const std::string& file, const std::string& name) {
    if (::renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0 ||
        errno == EEXIST)
        return;
    // A file system, or a kernel, that can only rename over what is there.
    const bool isUnsupported = errno == EINVAL || errno == ENOSYS;
    if (!isUnsupported || (::link(file.c_str(), name.c_str()) != 0 && errno != EEXIST))
        failOn("make", name);
    removeIfThere(file);
}

struct RemoveAtEnd {
    const std::string& path;
    ~RemoveAtEnd() { ::unlink(path.c_str()); }
};

} // namespace

StoreFile::StoreFile(std::string path, const SqliteSettings& settings)
    : path_(std::move(path)), directory_(parentOf(path_)), settings_(settings) {}

std::unique_ptr<Database> StoreFile::prepare(Patience::Allowance& allowance) const {
    makeDirectories(directory_);
    Preparation preparation{allowance};
    {
        const DirectoryLock lock(directory_, DirectoryLock::Purpose::OPENING, allowance);
        if (auto database = openExisting(preparation))
            return database;
    }
    const DirectoryLock lock(directory_, DirectoryLock::Purpose::MAKING, allowance);
    // Another process may have made or replaced it between the two locks.
    if (auto database = openExisting(preparation))
        return database;
    if (exists(path_))
        putAside(preparation.damage);
    make();
    lock.flush();
    return openSound(preparation);
}

std::unique_ptr<Database> StoreFile::open(Patience::Allowance& allowance) const {
    auto database = std::make_unique<Database>(path_);
    database->waitBy(&allowance);
    // The log is moved into the database by the notification thread, not by a write.
    database->execute("PRAGMA wal_autocheckpoint = 0");
    return database;
}

void StoreFile::removeOrphans(const StoreFiles& files, Patience::Allowance& allowance) const {
    if (files.orphans().empty())
        return;
    const DirectoryLock lock(directory_, DirectoryLock::Purpose::MAKING, allowance);
    // Another process may have removed them, and made its own, before the lock.
    for (const std::string& orphan : files.orphans())
        removeIfThere(orphan);
}

std::unique_ptr<Database> StoreFile::openExisting(Preparation& preparation) const {
    if (!exists(path_))
        return nullptr;
    try {
        return openSound(preparation);
    } catch (const DatabaseError& error) {
        if (!error.isDamage())
            throw;
        preparation.damage = error.what();
        return nullptr;
    }
}

std::unique_ptr<Database> StoreFile::openSound(Preparation& preparation) const {
    // First: log and index are made with the mode of the database.
    closeToOthers(preparation);
    auto database = open(preparation.allowance);
    // A damaged file is left as it was found, its log beside it.
    database->moveLogOnClose(false);
    if (const std::string found = database->query("PRAGMA integrity_check(1)"); found != "ok")
        throw DatabaseError(SQLITE_CORRUPT, found);
    if (const std::string mode = database->query("PRAGMA journal_mode = WAL"); mode != "wal")
        throw DatabaseError(SQLITE_CANTOPEN, "it cannot have a write-ahead log");
    database->execute("PRAGMA synchronous = FULL");
    schema::prepare(*database, settings_.journalBound);
    schema::enterBoot(*database, settings_.bootId);
    database->moveLogOnClose(true);
    return database;
}

void StoreFile::closeToOthers(Preparation& preparation) const {
    const auto file = posix::FileStamp::of(posix::HostPath(path_)).id;
    if (file == preparation.closed)
        return;
    preparation.closed = file;
    std::ostringstream modes;
    int error = 0;
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const std::string path = path_ + suffix;
        const mode_t mode = modeOf(path);
        if ((mode & OTHERS) == 0)
            continue;
        modes << (modes.tellp() > 0 ? ", " : "") << (*suffix == 0 ? "mode" : suffix) << " 0"
              << std::oct << mode;
        // By its name: closing a descriptor of a database in use would give up its locks.
        if (::chmod(path.c_str(), FILE_MODE) != 0)
            error = errno;
    }
    if (modes.tellp() == 0)
        return;
    if (error == 0)
        LOG(2) << "Property store " << path_ << " was open to others (" << modes.str()
               << "): its mode is 0600 now";
    else
        LOG(2) << "Property store " << path_ << " is open to others (" << modes.str()
               << ") and cannot be closed to them: " << std::strerror(error);
}

/// The log goes first, and with it whatever it could do to the fresh store. Under the name that it
/// gets it still belongs to the damaged database, for those who want to look into it.
void StoreFile::putAside(const std::string& damage) const {
    moveOver(path_ + "-wal", path_ + ".corrupt-wal");
    removeIfThere(path_ + "-shm");
    removeIfThere(path_ + ".corrupt-shm");
    moveOver(path_, path_ + ".corrupt");
    LOG(3) << "Property store " << path_ << " is damaged (" << damage << "): kept as " << path_
           << ".corrupt, starting a fresh one";
}

/// A store appears under its name as a whole: made and flushed under another one, then renamed.
void StoreFile::make() const {
    const std::string draft = path_ + ".new";
    const RemoveAtEnd cleaner{draft};
    removeIfThere(draft);
    createEmpty(draft);
    {
        Database database(draft);
        // Until it has its name, only the whole of it matters.
        database.execute("PRAGMA synchronous = OFF; PRAGMA journal_mode = MEMORY");
        schema::prepare(database, settings_.journalBound);
        database.execute("PRAGMA journal_mode = WAL");
    }
    flush(draft, O_RDWR);
    // A log that lies about without its database would be taken for the new one's.
    removeIfThere(path_ + "-wal");
    removeIfThere(path_ + "-shm");
    // Does not replace what a program that knows nothing of the lock has made meanwhile.
    renameUnlessTaken(draft, path_);
}

} // namespace propertyapi
