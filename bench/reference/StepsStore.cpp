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

StepsStore::StepsStore(const std::string& database) : connection_(opened(database)) {
    execute("PRAGMA journal_mode = WAL");
    execute("CREATE TABLE IF NOT EXISTS journal(sequence INTEGER PRIMARY KEY, changes TEXT)");
    // In place of moving the log in a commit.
    sqlite3_wal_hook(
        connection_,
        [](void* pages, sqlite3*, const char*, int count) {
            *static_cast<int*>(pages) = count;
            return SQLITE_OK;
        },
        &logPages_);
}

StepsStore::~StepsStore() {
    for (const Statement* const statement : {&begin_, &upsert_, &note_, &trim_, &commit_, &select_})
        sqlite3_finalize(statement->handle);
    sqlite3_close(connection_);
}

sqlite3_stmt* StepsStore::compiled(Statement& statement) const {
    if (statement.handle == nullptr)
        statement.handle = prepared(connection_, statement.sql);
    return statement.handle;
}

void StepsStore::write(const Parameters& batch, bool isLasting) {
    if (isLasting != isFlushing_)
        execute(isLasting ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    isFlushing_ = isLasting;
    finish(compiled(begin_));
    sqlite3_stmt* const upsert = compiled(upsert_);
    const std::string origin = isLasting ? "provisioning" : "";
    std::string changes;
    std::size_t numbers = 0;
    for (const auto& [key, value] : batch) {
        bind(upsert, 1, key);
        bind(upsert, 2, value);
        bind(upsert, 3, origin);
        finish(upsert);
        if (sqlite3_changes(connection_) == 0)
            continue;
        changes.append(key).append("=").append(value).append("\n");
        numbers += 1 + (key.size() + value.size()) / 64;
    }
    if (numbers > 0) {
        sqlite3_stmt* const note = compiled(note_);
        sqlite3_bind_int64(note, 1, static_cast<sqlite3_int64>(numbers));
        bind(note, 2, changes);
        finish(note);
    }
    if (isLasting)
        finish(compiled(trim_));
    finish(compiled(commit_));
}

std::string StepsStore::value(const std::string& key) {
    sqlite3_stmt* const select = compiled(select_);
    bind(select, 1, key);
    std::string value;
    if (sqlite3_step(select) == SQLITE_ROW)
        value = reinterpret_cast<const char*>(sqlite3_column_text(select, 0));
    sqlite3_reset(select);
    return value;
}

void StepsStore::rest() const {
    if (logPages_ >= LONG_LOG)
        sqlite3_wal_checkpoint_v2(connection_, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr,
                                  nullptr);
}

void StepsStore::execute(const char* sql) const {
    require(sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
}
