// SPDX-License-Identifier: Apache-2.0
#include "Directory.h"
#include "DirectoryListing.h"
#include "TemporaryName.h"
#include "filesystem/Filesystem.h"
#include "logger/Logger.h"
#include "paths/Paths.h"
#include "posix/Descriptor.h"
#include "text/Quote.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace filesystem {

namespace {

/// An entry of a directory.
struct Found {
    int directory;
    const std::string& directoryPath; ///< the phone's, normalised
    const char* name;                 ///< on the disk

    std::string path() const { return directoryPath + "/" + name; }
};

/// On a regular file.
using Operation = std::function<void(const Found&)>;

/// With one "/" before each component and none at the end.
std::string normalised(const std::string& phonePath) {
    std::string path;
    for (const char character : phonePath) {
        if (character != '/' || !path.ends_with('/'))
            path += character;
    }
    if (path.ends_with('/'))
        path.pop_back();
    return path;
}

std::string readingOf(const std::string& phonePath) {
    return "Reading the directory " + quote(phonePath);
}

void searchInner(const Found& inner, const Operation& operation);

void search(int directory, const std::string& path, Within within, const Operation& operation) {
    DirectoryListing listing(directory, path);
    while (const char* const name = listing.next()) {
        const Found found{directory, path, name};
        struct stat status {};
        if (::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue; // it has gone
        if (S_ISREG(status.st_mode))
            operation(found);
        else if (S_ISDIR(status.st_mode) && within == Within::DirectoryAndThoseInIt)
            searchInner(found, operation);
    }
}

/// An inner directory that cannot be read is one line; the rest is still searched.
void searchInner(const Found& inner, const Operation& operation) {
    try {
        const posix::Descriptor directory(
            ::openat(inner.directory, inner.name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!directory.isOpen())
            throw std::system_error(errno, std::generic_category(), readingOf(inner.path()));
        search(directory.get(), inner.path(), Within::Directory, operation);
    } catch (const std::system_error& error) {
        LOG(2) << error.what();
    }
}

void search(const std::string& phonePath, Within within, const Operation& operation) {
    const Directory directory(phonePath, Directory::Use::Files);
    if (directory.isMissing())
        return;
    if (!directory.isOpen())
        directory.fail(readingOf(phonePath));
    search(directory.get(), normalised(phonePath), within, operation);
}

void remove(const Found& file) {
    if (::unlinkat(file.directory, file.name, 0) == 0 || errno == ENOENT)
        return;
    const std::string why = std::generic_category().message(errno);
    LOG(2) << "Removing " << quote(file.path()) << " failed: " << why;
}

void removeIfAbandoned(const Found& file) {
    if (!isTemporaryName(file.name))
        return;
    // Locked until it is removed: a writer that has made it but not locked it yet gives it up. The
    // kernel drops a lock with the process that holds it.
    const posix::Descriptor locked(
        ::openat(file.directory, file.name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (locked.isOpen() && ::flock(locked.get(), LOCK_EX | LOCK_NB) == 0 &&
        ::fstat(locked.get(), &status) == 0 && status.st_nlink == 1)
        remove(file);
}

} // namespace

void removeAbandonedFiles(const std::string& directory, Within within) {
    try {
        search(directory, within, removeIfAbandoned);
    } catch (const std::runtime_error& error) {
        LOG(2) << error.what();
    }
}

void removeRegularFiles(const std::string& directory, const std::vector<std::string>& kept) {
    try {
        std::vector<std::string> keptOnDisk;
        keptOnDisk.reserve(kept.size());
        for (const std::string& path : kept)
            keptOnDisk.push_back(normalised(paths::onDisk(path)));
        search(directory, Within::DirectoryAndThoseInIt, [&](const Found& file) {
            if (std::find(keptOnDisk.begin(), keptOnDisk.end(), file.path()) == keptOnDisk.end())
                remove(file);
        });
    } catch (const std::runtime_error& error) {
        LOG(2) << error.what();
    }
}

} // namespace filesystem
