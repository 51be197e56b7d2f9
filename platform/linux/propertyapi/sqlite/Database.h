// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DatabaseError.h"
#include "Patience.h"
#include "posix/FileId.h"
#include "posix/HostPath.h"

#include <cstdint>
#include <string>

struct sqlite3;

namespace propertyapi {

/// One connection to a database file. Used by one thread at a time. All operations throw
/// DatabaseError.
class Database {
public:
    /// Opens an existing file, to read and to write. One that loses its name meanwhile is a busy
    /// one.
    explicit Database(const posix::HostPath& path);
    /// How to read a file without a trace: no file is made, removed or written.
    enum class Reading {
        SHARED, ///< the log too, beside others who read and write
        QUIET,  ///< without log and locks: while nobody has it open, who has to be looked for
    };
    /// Opens an existing file, to read alone.
    Database(const posix::HostPath& path, Reading reading);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// From now on operations on a busy store wait as the allowance says, which must live as long;
    /// nullptr, and at first: not at all.
    void waitBy(Patience::Allowance* allowance) noexcept { allowance_ = allowance; }
    /// Lets it wait by an allowance for as long as this lives.
    class Waiting {
    public:
        Waiting(Database& database, Patience::Allowance& allowance) : database_(database) {
            database_.waitBy(&allowance);
        }
        ~Waiting() { database_.waitBy(nullptr); }
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;

    private:
        Database& database_;
    };

    /// Runs statements that give no rows.
    void execute(const std::string& statements);
    /// The first column of the first row; empty when there is none.
    std::string query(const std::string& statement);
    /// Rows that the last statement has changed by itself, not by triggers.
    int changedRows() const noexcept;
    bool inTransaction() const noexcept;
    /// Which file was opened.
    const posix::FileId& file() const noexcept { return file_; }
    /// True when the file does not have its name any more.
    bool isMoved() const noexcept;
    /// From now on no trigger fires for what this connection does.
    void disableTriggers();
    /// Whether the last connection of all, when it is closed, moves the write-ahead log into the
    /// database and removes it; at first it does.
    void moveLogOnClose(bool move) noexcept;

    /// The write-ahead log.
    posix::HostPath walPath() const;
    /// Size of the write-ahead log in bytes; 0 when there is none.
    std::int64_t walSize() const noexcept;
    /// Flushes the write-ahead log, its directory entry too, to the disk.
    void flushWal();
    /// Moves what it can of the write-ahead log into the database, without keeping anybody from
    /// reading or writing. False when another connection is at it just now: nothing is done then.
    bool checkpoint();
    /// Moves the rest of the write-ahead log, with the write lock, and cuts the log to no bytes,
    /// where nobody else is reading from it or writing, nor has to be waited for.
    void emptyLog() noexcept;

    /// Throws the connection's last error.
    [[noreturn]] void fail(int code) const;
    sqlite3* handle() const noexcept { return handle_; }

private:
    std::string openError(int code) const;
    static int onBusy(void* self, int count) noexcept;

    posix::FileId file_;
    sqlite3* handle_ = nullptr;
    Patience::Allowance* allowance_ = nullptr;
};

} // namespace propertyapi
