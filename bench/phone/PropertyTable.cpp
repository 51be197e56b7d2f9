// SPDX-License-Identifier: Apache-2.0
#include "PropertyTable.h"

#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bench {

struct PropertyTable::Impl {
    sqlite3* database = nullptr;
    sqlite3_stmt* select = nullptr;
    sqlite3_stmt* upsert = nullptr;

    void require(bool condition) const {
        if (!condition)
            throw std::runtime_error(std::string("store: ") + sqlite3_errmsg(database));
    }
    void execute(const char* sql) const {
        require(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK);
    }
    sqlite3_stmt* prepared(const char* sql) const {
        sqlite3_stmt* statement = nullptr;
        require(sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) == SQLITE_OK);
        return statement;
    }
};

PropertyTable::PropertyTable(const std::string& path) : impl_(std::make_unique<Impl>()) {
    // As the daemon makes it: it would have to close one that is open to others.
    std::ofstream(path, std::ios::app).flush();
    std::filesystem::permissions(path, std::filesystem::perms::owner_read |
                                           std::filesystem::perms::owner_write);
    impl_->require(sqlite3_open(path.c_str(), &impl_->database) == SQLITE_OK);
    sqlite3_busy_timeout(impl_->database, 10000);
    impl_->execute("PRAGMA journal_mode = WAL");
    impl_->execute("CREATE TABLE IF NOT EXISTS property(key TEXT PRIMARY KEY, value TEXT NOT NULL, "
                   "origin TEXT NOT NULL DEFAULT '')");
    impl_->select = impl_->prepared("SELECT value FROM property WHERE key = ?1");
    impl_->upsert = impl_->prepared("INSERT INTO property(key, value) VALUES(?1, ?2) "
                                    "ON CONFLICT(key) DO UPDATE SET value = excluded.value");
}

PropertyTable::~PropertyTable() {
    sqlite3_finalize(impl_->select);
    sqlite3_finalize(impl_->upsert);
    sqlite3_close(impl_->database);
}

std::string PropertyTable::value(const std::string& key) const {
    sqlite3_bind_text(impl_->select, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    std::string result;
    const int step = sqlite3_step(impl_->select);
    impl_->require(step == SQLITE_ROW || step == SQLITE_DONE);
    if (step == SQLITE_ROW)
        result = reinterpret_cast<const char*>(sqlite3_column_text(impl_->select, 0));
    sqlite3_reset(impl_->select);
    return result;
}

void PropertyTable::set(const std::string& key, const std::string& value) const {
    sqlite3_bind_text(impl_->upsert, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    sqlite3_bind_text(impl_->upsert, 2, value.data(), static_cast<int>(value.size()),
                      SQLITE_STATIC);
    impl_->require(sqlite3_step(impl_->upsert) == SQLITE_DONE);
    sqlite3_reset(impl_->upsert);
}

void PropertyTable::fill(int count) const {
    impl_->execute("BEGIN IMMEDIATE");
    for (int i = 0; i < count; ++i)
        set("Company.Entry." + std::to_string(i) + ".Name", "value " + std::to_string(i));
    impl_->execute("COMMIT");
}

} // namespace bench
