// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FileContent.h"

#include <cstdint>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

/// A store that keeps every change in a bounded journal, too, with one connection to write and
/// another one to read. One thread at a time; all throw std::runtime_error.
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
    std::string value(const std::string& key) const;
    /// Moves a long log into the database. Nothing else does, so that no write takes the time.
    void rest() const;

private:
    void execute(const char* sql) const;

    sqlite3* writer_ = nullptr;
    sqlite3* reader_ = nullptr;
    sqlite3_stmt* begin_ = nullptr;
    sqlite3_stmt* upsert_ = nullptr;
    sqlite3_stmt* note_ = nullptr;
    sqlite3_stmt* trim_ = nullptr;
    sqlite3_stmt* commit_ = nullptr;
    sqlite3_stmt* select_ = nullptr;
    bool isFlushing_ = true; ///< as the library begins
    int logPages_ = 0;       ///< after the last commit
};
