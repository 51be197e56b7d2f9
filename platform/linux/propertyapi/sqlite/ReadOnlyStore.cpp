// SPDX-License-Identifier: Apache-2.0
#include "ReadOnlyStore.h"

#include "BootId.h"
#include "Database.h"
#include "Patience.h"
#include "Statement.h"
#include "paths/Paths.h"
#include "posix/FileStamp.h"

#include <sqlite3.h>

#include <cstring>
#include <utility>

namespace propertyapi {

namespace {

using posix::FileStamp;
using posix::HostPath;

constexpr std::chrono::milliseconds RETRY_TIME{5};

/// Which files there are: whether somebody is at work on the store, and whether he was meanwhile.
class Files {
public:
    explicit Files(const HostPath& path)
        : database_(FileStamp::of(path))
        , isLogMissing_(FileStamp::of(path.with("-wal")).isMissing())
        , isIndexMissing_(FileStamp::of(path.with("-shm")).isMissing())
        , isJournalMissing_(FileStamp::of(path.with("-journal")).isMissing()) {}

    /// Everything is in the database, and nobody has it open.
    bool areQuiet() const { return isLogMissing_ && isJournalMissing_; }
    /// What was read without the locks of the others is one state of the store.
    bool areLockedByNobody() const { return areQuiet() || isIndexMissing_; }
    const FileStamp& database() const { return database_; }

    bool operator==(const Files&) const = default;

private:
    FileStamp database_;
    bool isLogMissing_;
    bool isIndexMissing_;
    bool isJournalMissing_;
};

[[noreturn]] void fail(const HostPath& path, const std::string& cause) {
    throw PropertyApiException("Cannot read the property store " + path.text() + ": " + cause);
}

void requireDatabase(const Files& files, const HostPath& path) {
    if (files.database().isMissing())
        fail(path, "it does not exist");
    if (files.database().error != 0)
        fail(path, std::strerror(files.database().error));
}

} // namespace

ReadOnlyStore::ReadOnlyStore(std::string path, const SqliteSettings& settings)
    : path_(std::move(path)), settings_(settings) {}

/// operation: a callable with Database&. Repeated when others came or went meanwhile.
template <typename Operation>
auto ReadOnlyStore::read(Operation operation) const {
    const HostPath path = paths::toHost(path_);
    Patience patience;
    Patience::Allowance allowance(patience, settings_.busyTimeout);
    std::string cause = "others keep it busy";
    do {
        const Files before(path);
        requireDatabase(before, path);
        try {
            Database database(path, before.areQuiet() ? Database::Reading::QUIET
                                                      : Database::Reading::SHARED);
            const Database::Waiting waiting(database, allowance);
            auto result = operation(database);
            if (!before.areLockedByNobody() || Files(path) == before)
                return result;
        } catch (const DatabaseError& error) {
            cause = error.what();
            if (!error.needsWriting() && Files(path) == before)
                fail(path, cause);
        }
    } while (allowance.pause(RETRY_TIME));
    fail(path, cause);
}

std::vector<std::optional<StoredProperty>>
ReadOnlyStore::find(const std::vector<std::string>& keys) const {
    return read([&](Database& database) {
        std::vector<std::optional<StoredProperty>> found;
        database.execute("BEGIN");
        database.query("SELECT 1 FROM property"); // whether it can be read, without a key, too
        Statement select(database, "SELECT value, origin FROM property WHERE key = ?1");
        for (const std::string& key : keys) {
            Statement::Run run(select);
            if (run.bind(1, key).step())
                found.emplace_back(StoredProperty{key, run.text(0), run.text(1)});
            else
                found.emplace_back();
        }
        return found;
    });
}

std::vector<StoredProperty> ReadOnlyStore::list(const std::string& prefix) const {
    return read([&](Database& database) {
        std::vector<StoredProperty> found;
        Statement select(database, "SELECT key, value, origin FROM property "
                                   "WHERE key IS NOT NULL ORDER BY CAST(key AS BLOB)");
        Statement::Run run(select);
        while (run.step()) {
            if (run.view(0).starts_with(prefix))
                found.push_back({run.text(0), run.text(1), run.text(2)});
        }
        return found;
    });
}

std::unordered_map<std::string, std::string> ReadOnlyStore::values() const {
    const std::string bootId = bootIdOf(settings_);
    return read([&](Database& database) {
        std::unordered_map<std::string, std::string> found;
        database.execute("BEGIN");
        const bool isOfOtherBoot = schema::isOfOtherBoot(database, bootId);
        Statement select(database, "SELECT key, value FROM property WHERE key IS NOT NULL");
        Statement::Run run(select);
        while (run.step())
            if (std::string key = run.text(0); !isOfOtherBoot || !schema::livesForOneBoot(key))
                found.emplace(std::move(key), run.text(1));
        return found;
    });
}

schema::Condition ReadOnlyStore::inspect() const {
    return read([](Database& database) { return schema::inspect(database); });
}

void ReadOnlyStore::check() const {
    read([&](Database& database) {
        if (const std::string found = database.query("PRAGMA integrity_check(1)"); found != "ok")
            throw DatabaseError(SQLITE_CORRUPT, found);
        database.query("SELECT 1 FROM property");
        return true;
    });
}

} // namespace propertyapi
