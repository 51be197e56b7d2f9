// SPDX-License-Identifier: Apache-2.0
#include "Database.h"

#include "LateFiles.h"
#include "ReadOnlyVfs.h"
#include "Statement.h"
#include "posix/FileStamp.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace propertyapi {

namespace {

/// Milliseconds to wait before the next try, as the library itself would; the last one from then
/// on.
constexpr std::array<int, 12> BACK_OFF = {1, 2, 5, 10, 15, 20, 25, 25, 25, 50, 50, 100};

constexpr int primary(int code) {
    return code & 0xff;
}

/// The system's reason where the library's text has none.
std::string systemReason(sqlite3* handle, int code) {
    const int error = sqlite3_system_errno(handle);
    const bool hasOne = primary(code) == SQLITE_IOERR || primary(code) == SQLITE_CANTOPEN;
    return hasOne && error != 0 ? ": " + std::string(std::strerror(error)) : std::string();
}

/// A path as the library takes it together with parameters.
std::string uriOf(const posix::HostPath& path, const char* parameters) {
    std::string uri = "file:";
    for (const char character : path.text()) {
        if (character == '%' || character == '?' || character == '#')
            uri += character == '%' ? "%25" : (character == '?' ? "%3f" : "%23");
        else
            uri += character;
    }
    return uri + "?" + parameters;
}

/// Nobody reads the library's memory statistics, for which each allocation takes a lock. Pages are
/// allocated one by one: the first of a connection would take 20 of them, which connections that
/// look at a few keys never use. Refused where the program has used the library before; that does
/// no harm.
void configureLibrary() {
    [[maybe_unused]] static const std::array configured{
        sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0),
        sqlite3_config(SQLITE_CONFIG_PAGECACHE, nullptr, 0, 0)};
    admitLateFiles();
}

} // namespace

bool DatabaseError::isDamage() const noexcept {
    return code_ == SQLITE_CORRUPT || code_ == SQLITE_NOTADB;
}

bool DatabaseError::isBusy() const noexcept {
    return code_ == SQLITE_BUSY;
}

bool DatabaseError::needsWriting() const noexcept {
    return code_ == SQLITE_READONLY;
}

Database::Database(const posix::HostPath& path) : file_(posix::FileStamp::of(path).id) {
    configureLibrary();
    // Without the library's own mutex: the owner sees to it that one thread uses the connection.
    const int code = sqlite3_open_v2(
        path.c_str(), &handle_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE,
        nullptr);
    // The library opens what it may not write to for reading alone, without a word.
    const bool isReadOnly = code == SQLITE_OK && sqlite3_db_readonly(handle_, "main") != 0;
    // The file that was opened has its name now, so it is the one that had it before.
    const bool isReplaced =
        code == SQLITE_OK && (isMoved() || posix::FileStamp::of(path).id != file_);
    if (code == SQLITE_OK && !isReadOnly && !isReplaced) {
        sqlite3_busy_handler(handle_, onBusy, this);
        return;
    }
    std::string cause = isReplaced ? "it was replaced meanwhile" : "it may only be read";
    if (code != SQLITE_OK)
        cause = openError(code);
    sqlite3_close_v2(handle_);
    const int failure = isReplaced ? SQLITE_BUSY : SQLITE_READONLY;
    throw DatabaseError(code == SQLITE_OK ? failure : primary(code), cause);
}

Database::Database(const posix::HostPath& path, Reading reading)
    : file_(posix::FileStamp::of(path).id) {
    configureLibrary();
    const bool isQuiet = reading == Reading::QUIET;
    const std::string uri = uriOf(path, isQuiet ? "immutable=1" : "readonly_shm=1");
    const int code = sqlite3_open_v2(uri.c_str(), &handle_,
                                     SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX |
                                         SQLITE_OPEN_EXRESCODE,
                                     isQuiet ? nullptr : readOnlyVfs());
    if (code == SQLITE_OK) {
        sqlite3_busy_handler(handle_, onBusy, this);
        moveLogOnClose(false);
        return;
    }
    const std::string cause = openError(code);
    sqlite3_close_v2(handle_);
    throw DatabaseError(primary(code), cause);
}

Database::~Database() {
    sqlite3_close_v2(handle_);
}

/// Called by the library, with how often it has been called for this wait.
int Database::onBusy(void* self, int count) noexcept {
    Patience::Allowance* allowance = static_cast<Database*>(self)->allowance_;
    const auto index = std::min(static_cast<std::size_t>(count), BACK_OFF.size() - 1);
    return allowance != nullptr && allowance->pause(std::chrono::milliseconds(BACK_OFF.at(index)))
               ? 1
               : 0;
}

void Database::execute(const std::string& statements) {
    const int code = sqlite3_exec(handle_, statements.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK)
        fail(code);
}

std::string Database::query(const std::string& statement) {
    Statement prepared(*this, statement);
    Statement::Run run(prepared);
    return run.step() ? run.text(0) : std::string();
}

int Database::changedRows() const noexcept {
    return sqlite3_changes(handle_);
}

bool Database::inTransaction() const noexcept {
    return sqlite3_get_autocommit(handle_) == 0;
}

bool Database::isMoved() const noexcept {
    int moved = 0;
    return sqlite3_file_control(handle_, "main", SQLITE_FCNTL_HAS_MOVED, &moved) != SQLITE_OK ||
           moved != 0;
}

void Database::disableTriggers() {
    const int code = sqlite3_db_config(handle_, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    if (code != SQLITE_OK)
        fail(code);
}

void Database::moveLogOnClose(bool move) noexcept {
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, move ? 0 : 1, nullptr);
}

posix::HostPath Database::walPath() const {
    const char* path = sqlite3_filename_wal(sqlite3_db_filename(handle_, "main"));
    return posix::HostPath(path == nullptr ? "" : path);
}

std::int64_t Database::walSize() const noexcept {
    return posix::FileStamp::of(walPath()).size;
}

void Database::flushWal() {
    sqlite3_file* log = nullptr;
    const int found = sqlite3_file_control(handle_, "main", SQLITE_FCNTL_JOURNAL_POINTER,
                                           static_cast<void*>(&log));
    if (found != SQLITE_OK)
        fail(found);
    if (log == nullptr || log->pMethods == nullptr)
        return;
    const int code = log->pMethods->xSync(log, SQLITE_SYNC_NORMAL | SQLITE_SYNC_DATAONLY);
    if (code != SQLITE_OK)
        throw DatabaseError(primary(code), "cannot flush " + walPath().text());
}

bool Database::checkpoint() {
    const int code =
        sqlite3_wal_checkpoint_v2(handle_, "main", SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    if (code != SQLITE_OK && primary(code) != SQLITE_BUSY)
        fail(code);
    return code == SQLITE_OK;
}

void Database::emptyLog() noexcept {
    sqlite3_wal_checkpoint_v2(handle_, "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
}

std::string Database::openError(int code) const {
    return handle_ == nullptr ? std::string(sqlite3_errstr(code))
                              : sqlite3_errmsg(handle_) + systemReason(handle_, code);
}

void Database::fail(int code) const {
    throw DatabaseError(primary(code), sqlite3_errmsg(handle_) + systemReason(handle_, code));
}

} // namespace propertyapi
