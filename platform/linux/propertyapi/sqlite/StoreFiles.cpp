#include "StoreFiles.h"

#include <string_view>
#include <utility>

namespace propertyapi {

namespace {

constexpr std::string_view LOG_SUFFIX = "-wal";

/// The path of the index, made of that of the log.
std::string indexOf(const std::string& log) {
    return log.substr(0, log.size() - LOG_SUFFIX.size()) + "-shm";
}

} // namespace

StoreFiles::StoreFiles(std::string database, std::string log)
    : databasePath_(std::move(database))
    , logPath_(std::move(log))
    , indexPath_(indexOf(logPath_))
    , database_(databasePath_)
    , log_(logPath_)
    , index_(indexPath_) {}

bool StoreFiles::areComplete() const noexcept {
    return database_.isFile() && log_.isFile() && index_.isFile();
}

std::optional<std::int64_t> StoreFiles::logSize() const noexcept {
    std::int64_t size = 0;
    if (FileId(logPath_, &size) != log_)
        return std::nullopt;
    return size;
}

bool StoreFiles::haveNames() const noexcept {
    return haveDatabase() && FileId(logPath_) == log_ && FileId(indexPath_) == index_;
}

bool StoreFiles::mayRemoveLog() const noexcept {
    const FileId log(logPath_);
    return haveDatabase() && (!log.isFile() || log == log_);
}

std::vector<std::string> StoreFiles::orphans() const {
    const bool hasDatabase = haveDatabase();
    const bool hasLog = FileId(logPath_) == log_;
    std::vector<std::string> paths;
    // The log belongs to the database, the index to both.
    if (index_.isFile() && FileId(indexPath_) == index_ && !(hasDatabase && hasLog))
        paths.push_back(indexPath_);
    if (log_.isFile() && hasLog && !hasDatabase)
        paths.push_back(logPath_);
    return paths;
}

} // namespace propertyapi
