#include "StoreFile.h"

#include "DirectoryLock.h"
#include "Schema.h"
#include "logger/Logger.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace propertyapi {

namespace {

constexpr mode_t DIRECTORY_MODE = 0775;
constexpr mode_t FILE_MODE = 0600;

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

void makeDirectories(const std::string& path) {
    if (exists(path))
        return;
    makeDirectories(parentOf(path));
    if (::mkdir(path.c_str(), DIRECTORY_MODE) == 0)
        ::chmod(path.c_str(), DIRECTORY_MODE); // whatever the process's umask is
    else if (errno != EEXIST)
        failOn("make directory", path);
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

void createEmpty(const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, FILE_MODE);
    if (file < 0)
        failOn("make", path);
    ::close(file);
}

struct RemoveAtEnd {
    const std::string& path;
    ~RemoveAtEnd() { ::unlink(path.c_str()); }
};

void flushFile(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    const bool flushed = file >= 0 && ::fsync(file) == 0;
    const int error = errno;
    if (file >= 0)
        ::close(file);
    errno = error;
    if (!flushed)
        failOn("flush", path);
}

} // namespace

StoreFile::StoreFile(std::string path, const SqliteSettings& settings)
    : path_(std::move(path)), directory_(parentOf(path_)), settings_(settings) {}

std::unique_ptr<Database> StoreFile::prepare() const {
    makeDirectories(directory_);
    createMissing();
    try {
        return openSound();
    } catch (const DatabaseError& error) {
        if (!error.isDamage())
            throw;
    }
    return replaceDamaged();
}

std::unique_ptr<Database> StoreFile::open() const {
    auto database = std::make_unique<Database>(path_, settings_.busyTimeout);
    // The log is moved into the database by the notification thread, never by a write.
    database->execute("PRAGMA wal_autocheckpoint = 0");
    return database;
}

/// A damaged file is left as it is found, its log beside it.
std::unique_ptr<Database> StoreFile::openSound() const {
    auto database = open();
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

/// A store appears under its name as a whole: made and flushed under another one, then linked.
void StoreFile::createMissing() const {
    if (exists(path_))
        return;
    const DirectoryLock lock(directory_, settings_.busyTimeout);
    if (exists(path_))
        return;
    const std::string draft = path_ + ".new";
    removeIfThere(draft);
    const RemoveAtEnd cleaner{draft};
    createEmpty(draft);
    {
        Database database(draft, settings_.busyTimeout);
        // Until it has its name, only the whole of it matters.
        database.execute("PRAGMA synchronous = OFF; PRAGMA journal_mode = MEMORY");
        schema::prepare(database, settings_.journalBound);
        database.execute("PRAGMA journal_mode = WAL");
    }
    flushFile(draft);
    // A log that lies about without its database would be taken for the new one's.
    removeIfThere(path_ + "-wal");
    removeIfThere(path_ + "-shm");
    // Does not replace what a program that knows nothing of the lock has made meanwhile.
    if (::link(draft.c_str(), path_.c_str()) != 0 && errno != EEXIST)
        failOn("make", path_);
    lock.flush();
}

std::unique_ptr<Database> StoreFile::replaceDamaged() const {
    {
        const DirectoryLock lock(directory_, settings_.busyTimeout);
        try {
            return openSound(); // another process has replaced it meanwhile
        } catch (const DatabaseError& error) {
            if (!error.isDamage())
                throw;
            putAside();
            lock.flush();
            LOG(3) << "Property store " << path_ << " is damaged (" << error.what() << "): kept as "
                   << path_ << ".corrupt, starting a fresh one";
        }
    }
    createMissing();
    return openSound();
}

/// The log goes first, and with it whatever it could do to the fresh store. Under the name that it
/// gets it still belongs to the damaged database, for those who want to look into it.
void StoreFile::putAside() const {
    moveOver(path_ + "-wal", path_ + ".corrupt-wal");
    removeIfThere(path_ + "-shm");
    removeIfThere(path_ + ".corrupt-shm");
    moveOver(path_, path_ + ".corrupt");
}

} // namespace propertyapi
