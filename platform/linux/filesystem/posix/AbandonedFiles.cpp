#include "AbandonedFiles.h"

#include "Descriptor.h"
#include "TemporaryName.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <mutex>

namespace filesystem {

namespace {

/// What tells one directory from all others. Its number alone may go to another one after it, hence
/// the time when it was made, where the file system keeps that.
struct Identity {
    std::uint32_t deviceMajor = 0;
    std::uint32_t deviceMinor = 0;
    std::uint64_t number = 0;
    std::int64_t madeSeconds = 0;
    std::uint32_t madeNanoseconds = 0;

    bool operator==(const Identity&) const = default;
};

/// False when the system does not say.
bool identify(int directory, Identity& identity) {
    struct statx status {};
    if (::statx(directory, "", AT_EMPTY_PATH, STATX_INO | STATX_BTIME, &status) != 0)
        return false;
    identity = {status.stx_dev_major, status.stx_dev_minor, status.stx_ino, status.stx_btime.tv_sec,
                status.stx_btime.tv_nsec};
    return true;
}

/// The directories that this process has looked through, the last ones of them.
class SeenDirectories {
public:
    /// True for the first who asks.
    bool add(const Identity& directory) {
        const std::lock_guard lock(mutex_);
        if (std::find(seen_.begin(), seen_.end(), directory) != seen_.end())
            return false;
        seen_[next_] = directory;
        next_ = (next_ + 1) % seen_.size();
        return true;
    }

private:
    std::mutex mutex_;
    std::array<Identity, 64> seen_{}; ///< the phone has about a dozen that it writes to
    std::size_t next_ = 0;
};

struct CloseDirectory {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

/// The kernel drops a lock with the process that holds it.
void removeUnlocked(int directory, const char* name) {
    const Descriptor file(
        ::openat(directory, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.isOpen() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
        ::unlinkat(directory, name, 0);
}

} // namespace

void removeAbandonedFiles(int directory) {
    // Of the process, as the operations on files are functions.
    static SeenDirectories seen;
    Identity identity;
    if (!identify(directory, identity) || !seen.add(identity))
        return;
    // A descriptor of its own: the listing moves its position and closes it.
    Descriptor listed(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, CloseDirectory> listing(listed.isOpen() ? ::fdopendir(listed.get())
                                                                       : nullptr);
    if (!listing)
        return;
    listed.release();
    while (const dirent* entry = ::readdir(listing.get())) {
        if (isTemporaryName(entry->d_name))
            removeUnlocked(directory, entry->d_name);
    }
}

bool lockAgainstRemoval(int file) {
    // A file system without locks has no files removed, either.
    return ::flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

} // namespace filesystem
