// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FileContent.h"

#include <cstdint>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

/// A store that keeps every change in a bounded journal, too. One thread at a time; all throw
/// std::runtime_error.
class StepsStore {
public:
    /// A further connection, which has read the number of the newest change.
    class Journal {
    public:
        explicit Journal(const std::string& database);
        ~Journal();
        Journal(const Journal&) = delete;
        Journal& operator=(const Journal&) = delete;

    private:
        sqlite3* connection_;
        sqlite3_stmt* newest_;
    };

    /// database: a SQLite file of this machine, with a table property(key, value, origin).
    explicit StepsStore(const std::string& database);
    ~StepsStore();
    StepsStore(const StepsStore&) = delete;
    StepsStore& operator=(const StepsStore&) = delete;

    /// One transaction; what changes nothing is not in the journal. Without isLasting, nothing is
    /// flushed.
    void write(const Parameters& batch, bool isLasting);
    /// Empty when there is none.
    std::string value(const std::string& key);
    /// Moves a long log into the database. Nothing else does, so that no write takes the time.
    void rest() const;

private:
    void execute(const char* sql) const;

    /// Compiled when it is needed.
    struct Statement {
        const char* sql;
        sqlite3_stmt* handle = nullptr;
    };
    sqlite3_stmt* compiled(Statement& statement) const;

    sqlite3* const connection_;
    Statement begin_{"BEGIN IMMEDIATE"};
    Statement upsert_{"INSERT INTO property(key, value, origin) VALUES(?1, ?2, ?3) "
                      "ON CONFLICT(key) DO UPDATE SET value = excluded.value, "
                      "origin = excluded.origin WHERE value IS NOT excluded.value"};
    /// A row takes a number for each change and for each 64 bytes: 65,536 of them are kept.
    Statement note_{"INSERT INTO journal VALUES(coalesce((SELECT max(sequence) FROM journal), 0) + "
                    "?1, ?2)"};
    Statement trim_{"DELETE FROM journal WHERE sequence <= "
                    "(SELECT max(sequence) FROM journal) - 65536"};
    Statement commit_{"COMMIT"};
    Statement select_{"SELECT value FROM property WHERE key = ?1"};
    bool isFlushing_ = true; ///< as the library begins
    int logPages_ = 0;       ///< after the last commit
};
