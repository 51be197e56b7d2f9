// SPDX-License-Identifier: Apache-2.0
#include "AtomicFile.h"

#include "TemporaryName.h"
#include "paths/Paths.h"
#include "text/Quote.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <stdexcept>

namespace filesystem {

namespace {

std::string operationOn(const std::string& phonePath) {
    return "Writing \"" + phonePath + "\"";
}

[[noreturn]] void refuse(const std::string& phonePath, const char* why) {
    throw std::runtime_error("Path " + quote(phonePath) + " refused: " + why);
}

/// Where a file is to stand.
struct Target {
    std::string directory; ///< the phone's path
    std::string name;      ///< on the disk
};

Target targetOf(const std::string& phonePath) {
    const std::string path = paths::onDisk(phonePath);
    const std::size_t nameBegin = path.rfind('/') + 1;
    Target target{path.substr(0, nameBegin), path.substr(nameBegin)};
    if (target.name.empty())
        refuse(phonePath, "it names no file");
    if (isTemporaryName(target.name))
        refuse(phonePath, "only temporary files have such a name");
    return target;
}

bool isDirectory(int parent, const std::string& name) {
    struct stat status {};
    return ::fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(status.st_mode);
}

/// Protects a file from removal as an abandoned one, in all processes, until its last descriptor is
/// closed. False when another process has locked it to remove it. On a file system without locks no
/// files are removed.
bool lock(int file) {
    return ::flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

} // namespace

void AtomicFile::check(const std::string& phonePath) {
    const Target target = targetOf(phonePath);
    const Directory directory(target.directory, Directory::Use::Search);
    if (directory.isMissing())
        return;
    if (!directory.isOpen())
        directory.fail(operationOn(phonePath));
    if (isDirectory(directory.get(), target.name))
        throw WriteError(phonePath, Step::Create, EISDIR);
}

AtomicFile::AtomicFile(const std::string& phonePath, const Creation& creation) : path_(phonePath) {
    Target target = targetOf(phonePath);
    name_ = std::move(target.name);
    directory_.emplace(target.directory, Directory::Use::Files, creation.directoryMode);
    if (!directory_->isOpen())
        directory_->fail(operationOn(path_));
    openTemporary(creation);
}

AtomicFile::~AtomicFile() {
    discard();
}

void AtomicFile::openTemporary(const Creation& creation) {
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    constexpr int TRIES = 16;
    for (int attempt = 0; attempt < TRIES; ++attempt) {
        std::string name = makeTemporaryName();
        file_.reset(
            ::openat(directory_->get(), name.c_str(), FLAGS, static_cast<mode_t>(creation.mode)));
        if (file_.isOpen()) {
            temporary_ = std::move(name);
            if (claimTemporary(creation))
                return;
            discard();
        } else if (errno != EEXIST && errno != EINTR) {
            fail(Step::Create, errno);
        }
    }
    fail(Step::Create, EEXIST);
}

/// False when another process took it for an abandoned one before it was locked.
bool AtomicFile::claimTemporary(const Creation& creation) {
    if (!lock(file_.get()))
        return false;
    // It may be removed already.
    struct stat status {};
    if (::fstat(file_.get(), &status) != 0)
        fail(Step::Create, errno);
    if (status.st_nlink == 0)
        return false;
    const auto mode = static_cast<mode_t>(creation.mode);
    if (creation.ignoreUmask && (status.st_mode & 07777U) != mode &&
        ::fchmod(file_.get(), mode) != 0)
        fail(Step::SetMode, errno);
    return true;
}

void AtomicFile::append(const char* data, std::size_t size) {
    requireOpen();
    while (size > 0) {
        const ssize_t written = ::write(file_.get(), data, size);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            fail(Step::Write, errno);
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

void AtomicFile::commit() {
    requireOpen();
    flush();
    const int directory = directory_->get();
    if (::renameat(directory, temporary_.c_str(), directory, name_.c_str()) != 0)
        fail(Step::Place, errno);
    temporary_.clear();
    file_.close();
    if (::fsync(directory) != 0)
        fail(Step::FlushDirectory, errno);
}

void AtomicFile::flush() {
    if (::fsync(file_.get()) != 0)
        fail(Step::Flush, errno);
    // Network file systems may report a failed write only when a descriptor is closed. A second
    // descriptor is closed here: the lock lasts until the file has its name.
    posix::Descriptor second(::fcntl(file_.get(), F_DUPFD_CLOEXEC, 0));
    if (!second.isOpen() || (second.close() != 0 && errno != EINTR))
        fail(Step::Flush, errno);
}

void AtomicFile::discard() noexcept {
    if (!temporary_.empty())
        ::unlinkat(directory_->get(), temporary_.c_str(), 0);
    temporary_.clear();
    file_.close();
}

void AtomicFile::requireOpen() const {
    if (!file_.isOpen())
        throw std::runtime_error(operationOn(path_) + ": the file was closed before");
}

void AtomicFile::fail(Step step, int cause) {
    discard();
    throw WriteError(path_, step, cause);
}

} // namespace filesystem
