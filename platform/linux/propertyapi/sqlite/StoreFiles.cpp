// SPDX-License-Identifier: Apache-2.0
#include "StoreFiles.h"

#include "Database.h"
#include "posix/FileStamp.h"

#include <string_view>
#include <utility>

namespace propertyapi {

namespace {

constexpr std::string_view LOG_SUFFIX = "-wal";

/// The path of the index, made of that of the log.
posix::HostPath indexOf(const posix::HostPath& log) {
    return posix::HostPath(log.text().substr(0, log.text().size() - LOG_SUFFIX.size()) + "-shm");
}

posix::FileId idOf(const posix::HostPath& path) noexcept {
    return posix::FileStamp::of(path).id;
}

} // namespace

StoreFiles::StoreFiles(posix::HostPath path, const Database& database)
    : databasePath_(std::move(path))
    , logPath_(database.walPath())
    , indexPath_(indexOf(logPath_))
    , database_(database.file())
    , log_(idOf(logPath_))
    , index_(idOf(indexPath_)) {}

bool StoreFiles::areComplete() const noexcept {
    return database_.isFile && log_.isFile && index_.isFile;
}

std::optional<std::int64_t> StoreFiles::logSize() const noexcept {
    const auto log = posix::FileStamp::of(logPath_);
    if (log.id != log_)
        return std::nullopt;
    return log.size;
}

bool StoreFiles::haveDatabase() const noexcept {
    return idOf(databasePath_) == database_;
}

bool StoreFiles::haveNames() const noexcept {
    return haveDatabase() && idOf(logPath_) == log_ && idOf(indexPath_) == index_;
}

bool StoreFiles::mayRemoveLog() const noexcept {
    const posix::FileId log = idOf(logPath_);
    return haveDatabase() && (!log.isFile || log == log_);
}

std::vector<posix::HostPath> StoreFiles::orphans() const {
    const bool hasDatabase = haveDatabase();
    const bool hasLog = idOf(logPath_) == log_;
    std::vector<posix::HostPath> paths;
    // The log belongs to the database, the index to both.
    if (index_.isFile && idOf(indexPath_) == index_ && !(hasDatabase && hasLog))
        paths.push_back(indexPath_);
    if (log_.isFile && hasLog && !hasDatabase)
        paths.push_back(logPath_);
    return paths;
}

} // namespace propertyapi
