// SPDX-License-Identifier: Apache-2.0
#include "SoundMark.h"

#include "Database.h"
#include "posix/FileStamp.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <string_view>
#include <utility>

namespace propertyapi {

namespace {

using posix::FileStamp;

constexpr const char* NAME = "user.ovo.sound";
/// More than boot and state take.
constexpr std::size_t MOST_BYTES = 256;

std::string stateOf(const FileStamp& stamp) {
    std::string text;
    for (const std::int64_t number :
         {static_cast<std::int64_t>(stamp.id.device), static_cast<std::int64_t>(stamp.id.inode),
          stamp.size, stamp.modifiedSeconds, stamp.modifiedNanoseconds})
        text += ' ' + std::to_string(number);
    return text;
}

} // namespace

SoundMark::SoundMark(posix::HostPath path, const std::string& bootId)
    : path_(std::move(path)), boot_(bootId) {}

bool SoundMark::isValid() const {
    std::array<char, MOST_BYTES> mark{};
    const ssize_t size = ::getxattr(path_.c_str(), NAME, mark.data(), mark.size());
    return size > 0 &&
           std::string_view(mark.data(), static_cast<std::size_t>(size)) == boot_ + state();
}

void SoundMark::begin() {
    isDamaged_ = false;
    known_ = state();
}

void SoundMark::remove() {
    isDamaged_ = true;
    // Dated anew, it is not what any client knows: none of them marks it. The file system's own
    // clock would give it the time of a write that was a moment ago.
    std::array<timespec, 2> times{};
    times[0].tv_nsec = UTIME_OMIT;
    ::clock_gettime(CLOCK_REALTIME, &times[1]);
    ::utimensat(AT_FDCWD, path_.c_str(), times.data(), 0);
}

void SoundMark::moveLog(Database& database) {
    if (isMoving_.exchange(true))
        return;
    struct Move {
        ~Move() { mark.isMoving_ = false; }
        SoundMark& mark;
    } const move{*this};
    const bool untouched = isUntouched();
    known_.clear();
    if (database.checkpoint() && untouched)
        known_ = state();
}

bool SoundMark::isUntouched() const {
    return !isDamaged_ && (known_ == state() || isValid());
}

/// The time gets another last digit than the system's clock gave it: whoever writes to the file
/// before that clock goes on changes the time nevertheless. Where the file system keeps no such
/// digit there is no mark.
void SoundMark::set() const {
    FileStamp stamp = FileStamp::of(path_);
    if (isDamaged_ || isValid() || stateOf(stamp) != known_)
        return;
    stamp.modifiedNanoseconds ^= 1;
    std::array<timespec, 2> times{};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<std::time_t>(stamp.modifiedSeconds);
    times[1].tv_nsec = static_cast<long>(stamp.modifiedNanoseconds);
    if (::utimensat(AT_FDCWD, path_.c_str(), times.data(), 0) != 0 || state() != stateOf(stamp))
        return;
    const std::string mark = boot_ + stateOf(stamp);
    ::setxattr(path_.c_str(), NAME, mark.data(), mark.size(), 0);
}

std::string SoundMark::state() const {
    return stateOf(FileStamp::of(path_));
}

} // namespace propertyapi
