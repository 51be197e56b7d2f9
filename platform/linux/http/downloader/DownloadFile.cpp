#include "DownloadFile.h"

#include "Root.h"
#include "filesystem/Filesystem.h"
#include "logger/Logger.h"
#include "text/Quote.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace http {

namespace {

constexpr unsigned int DIRECTORY_MODE = 0775;
/// Short, whatever the target's name: a file name taken from a URL may have the full length.
constexpr std::string_view TEMPORARY_PREFIX = ".download-";

mode_t modeOf(Access access) {
    return access == Access::OwnerOnly ? filesystem::PRIVATE_FILE : filesystem::PUBLIC_FILE;
}

struct CloseDirectory {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

/// A temporary in use is locked by its owner, and the kernel drops the lock with the process:
/// one that can be locked belongs to nobody.
void removeIfAbandoned(const std::string& path) {
    const filesystem::Descriptor file(
        ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file.get() >= 0 && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
        ::unlink(path.c_str());
}

void removeAbandoned(const std::string& directory) {
    const std::unique_ptr<DIR, CloseDirectory> listing(::opendir(directory.c_str()));
    if (!listing)
        return;
    while (const dirent* entry = ::readdir(listing.get())) {
        const std::string_view name = entry->d_name;
        if (name.substr(0, TEMPORARY_PREFIX.size()) == TEMPORARY_PREFIX)
            removeIfAbandoned(directory + entry->d_name);
    }
}

} // namespace

DownloadFile::DownloadFile(std::string path, Access access)
    : path_(std::move(path)), hostPath_(root::toHost(path_)), access_(access) {
    if (path_.back() == '/')
        throw std::runtime_error("Path " + quote(path_) + " refused: it names no file");
    hostDirectory_ = hostPath_.substr(0, hostPath_.rfind('/') + 1);
}

DownloadFile::~DownloadFile() {
    if (created() && !temporary_.empty())
        ::unlink(temporary_.c_str());
}

void DownloadFile::create() {
    if (const auto parent = path_.rfind('/'); parent > 0)
        filesystem::makeDirectory(path_.substr(0, parent), DIRECTORY_MODE);
    removeAbandoned(hostDirectory_);
    while (!claimTemporary()) {
    }
    // Never wider than asked for: it was created with 0600. The umask does not narrow it.
    if (::fchmod(file_.get(), modeOf(access_)) != 0)
        fail("setting the mode", errno);
}

/// False when another download took the file for an abandoned one before it was locked.
bool DownloadFile::claimTemporary() {
    temporary_ = hostDirectory_ + std::string(TEMPORARY_PREFIX) + "XXXXXX";
    file_.reset(::mkostemp(temporary_.data(), O_CLOEXEC));
    if (!created())
        fail("creating it", errno);
    const bool lockedByOther = ::flock(file_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    struct stat status {};
    const bool removed = ::fstat(file_.get(), &status) == 0 && status.st_nlink == 0;
    if (!lockedByOther && !removed)
        return true;
    ::unlink(temporary_.c_str());
    file_.close();
    return false;
}

void DownloadFile::append(const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(file_.get(), data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            fail("writing", errno);
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

void DownloadFile::commit() {
    if (::fsync(file_.get()) != 0)
        fail("flushing it to disk", errno);
    if (::rename(temporary_.c_str(), hostPath_.c_str()) != 0)
        fail("putting it in its place", errno);
    temporary_.clear();
    flushDirectory();
}

/// The new file is in its place; that a power cut may still bring the old one back is no failure of
/// the download.
void DownloadFile::flushDirectory() const {
    const filesystem::Descriptor directory(
        ::open(hostDirectory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.get() < 0 || ::fsync(directory.get()) != 0) {
        LOG(2) << "Directory of " << quote(path_)
               << " not flushed to disk: " << std::strerror(errno);
    }
}

void DownloadFile::fail(const char* operation, int error) const {
    throw std::runtime_error("File " + quote(path_) + ": " + operation +
                             " failed: " + std::strerror(error));
}

} // namespace http
