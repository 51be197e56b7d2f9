// SPDX-License-Identifier: Apache-2.0
#include "Directory.h"
#include "DirectoryListing.h"
#include "TemporaryName.h"
#include "filesystem/Filesystem.h"
#include "logger/Logger.h"
#include "paths/Paths.h"
#include "posix/Descriptor.h"
#include "text/Quote.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
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

/// The kind of an entry, as dirent has it; DT_UNKNOWN when it has gone. Some file systems do not
/// say it with the name.
unsigned char typeOf(int directory, const dirent64& entry) {
    struct stat status {};
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type;
    if (::fstatat(directory, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return DT_UNKNOWN;
    return static_cast<unsigned char>(IFTODT(status.st_mode));
}

void searchInner(const Found& inner, const Operation& operation);

void search(DirectoryListing listing, Within within, const Operation& operation) {
    while (const dirent64* const entry = listing.next()) {
        const Found found{listing.directory(), listing.phonePath(), entry->d_name};
        const unsigned char type = typeOf(listing.directory(), *entry);
        if (type == DT_REG)
            operation(found);
        else if (type == DT_DIR && within == Within::DirectoryAndThoseInIt)
            searchInner(found, operation);
    }
}

/// An inner directory that cannot be read is one line; the rest is still searched.
void searchInner(const Found& inner, const Operation& operation) {
    constexpr int FLAGS = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    try {
        posix::Descriptor directory(::openat(inner.directory, inner.name, FLAGS));
        if (!directory.isOpen())
            throw std::system_error(errno, std::generic_category(), readingOf(inner.path()));
        search(DirectoryListing(std::move(directory), inner.path()), Within::Directory, operation);
    } catch (const std::system_error& error) {
        LOG(2) << error.what();
    }
}

void search(const std::string& phonePath, Within within, const Operation& operation) {
    Directory directory(phonePath, Directory::Use::Files);
    if (directory.isMissing())
        return;
    if (!directory.isOpen())
        directory.fail(readingOf(phonePath));
    search(DirectoryListing(directory.take(), normalised(phonePath)), within, operation);
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
