// SPDX-License-Identifier: Apache-2.0
#include "StepsStore.h"

#include "Require.h"

#include <sqlite3.h>

namespace {

constexpr int LONG_LOG = 1000; // pages, as the library has it when it moves the log by itself

sqlite3* opened(const std::string& database) {
    // Statistics of memory, which nobody reads, lock each allocation. Refused the second time.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    sqlite3* connection = nullptr;
    require(sqlite3_open_v2(database.c_str(), &connection,
                            SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) == SQLITE_OK,
            "open");
    sqlite3_busy_timeout(connection, 10000);
    return connection;
}

sqlite3_stmt* prepared(sqlite3* connection, const char* sql) {
    sqlite3_stmt* statement = nullptr;
    require(sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr) == SQLITE_OK, sql);
    return statement;
}

void bind(sqlite3_stmt* statement, int index, const std::string& text) {
    sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

void finish(sqlite3_stmt* statement) {
    require(sqlite3_step(statement) == SQLITE_DONE, sqlite3_sql(statement));
    sqlite3_reset(statement);
}

} // namespace

StepsStore::Journal::Journal(const std::string& database)
    : connection_(opened(database))
    , newest_(prepared(connection_, "SELECT max(sequence) FROM journal")) {
    require(sqlite3_step(newest_) == SQLITE_ROW, sqlite3_sql(newest_));
    sqlite3_reset(newest_);
}

StepsStore::Journal::~Journal() {
    sqlite3_finalize(newest_);
    sqlite3_close(connection_);
}

StepsStore::StepsStore(const std::string& database)
    : writer_(opened(database)), reader_(opened(database)) {
    execute("PRAGMA journal_mode = WAL");
    execute("CREATE TABLE IF NOT EXISTS journal(sequence INTEGER PRIMARY KEY, changes TEXT)");
    begin_ = prepared(writer_, "BEGIN IMMEDIATE");
    upsert_ = prepared(writer_, "INSERT INTO property(key, value, origin) VALUES(?1, ?2, ?3) "
                                "ON CONFLICT(key) DO UPDATE SET value = excluded.value, "
                                "origin = excluded.origin WHERE value IS NOT excluded.value");
    // A row takes a number for each change and for each 64 bytes: 65,536 of them are kept.
    note_ = prepared(writer_, "INSERT INTO journal VALUES(coalesce((SELECT max(sequence) FROM "
                              "journal), 0) + ?1, ?2)");
    trim_ = prepared(writer_, "DELETE FROM journal WHERE sequence <= "
                              "(SELECT max(sequence) FROM journal) - 65536");
    commit_ = prepared(writer_, "COMMIT");
    select_ = prepared(reader_, "SELECT value FROM property WHERE key = ?1");
    // In place of moving the log in a commit.
    sqlite3_wal_hook(
        writer_,
        [](void* pages, sqlite3*, const char*, int count) {
            *static_cast<int*>(pages) = count;
            return SQLITE_OK;
        },
        &logPages_);
}

StepsStore::~StepsStore() {
    for (sqlite3_stmt* const statement : {begin_, upsert_, note_, trim_, commit_, select_})
        sqlite3_finalize(statement);
    sqlite3_close(reader_);
    sqlite3_close(writer_);
}

void StepsStore::write(const Parameters& batch, bool isLasting) {
    if (isLasting != isFlushing_)
        execute(isLasting ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    isFlushing_ = isLasting;
    finish(begin_);
    const std::string origin = isLasting ? "provisioning" : "";
    std::string changes;
    std::size_t numbers = 0;
    for (const auto& [key, value] : batch) {
        bind(upsert_, 1, key);
        bind(upsert_, 2, value);
        bind(upsert_, 3, origin);
        finish(upsert_);
        if (sqlite3_changes(writer_) == 0)
            continue;
        changes.append(key).append("=").append(value).append("\n");
        numbers += 1 + (key.size() + value.size()) / 64;
    }
    if (numbers > 0) {
        sqlite3_bind_int64(note_, 1, static_cast<sqlite3_int64>(numbers));
        bind(note_, 2, changes);
        finish(note_);
    }
    if (isLasting)
        finish(trim_);
    finish(commit_);
}

std::string StepsStore::value(const std::string& key) const {
    bind(select_, 1, key);
    std::string value;
    if (sqlite3_step(select_) == SQLITE_ROW)
        value = reinterpret_cast<const char*>(sqlite3_column_text(select_, 0));
    sqlite3_reset(select_);
    return value;
}

void StepsStore::rest() const {
    if (logPages_ >= LONG_LOG)
        sqlite3_wal_checkpoint_v2(writer_, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
}

void StepsStore::execute(const char* sql) const {
    require(sqlite3_exec(writer_, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
}
