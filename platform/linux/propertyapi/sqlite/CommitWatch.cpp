// SPDX-License-Identifier: Apache-2.0
// The checked ppoll() of a 32-bit system's C library (glibc 2.36) takes a 64-bit time for a 32-bit
// one: it waits for whole seconds only, and not at all for less than one.
#undef _FORTIFY_SOURCE

#include "CommitWatch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace propertyapi {

namespace {

constexpr std::chrono::milliseconds RETRY_TIME{50};

/// "-wal"
constexpr std::size_t SUFFIX_SIZE = 4;

[[noreturn]] void fail(const char* operation, int error) {
    throw std::runtime_error(std::string(operation) + ": " + std::strerror(error));
}

/// Commits are waited for in parts of a millisecond.
timespec timeTo(std::chrono::steady_clock::time_point until) {
    const auto left = std::max(until - std::chrono::steady_clock::now(),
                               std::chrono::steady_clock::duration::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    return {static_cast<std::time_t>(seconds.count()),
            static_cast<long>(std::chrono::nanoseconds(left - seconds).count())};
}

} // namespace

CommitWatch::CommitWatch(const posix::HostPath& log)
    : log_(log)
    , directory_(log.text().substr(0, log.text().rfind('/') + 1))
    , database_(
          log.text().substr(directory_.size(), log.text().size() - directory_.size() - SUFFIX_SIZE))
    , events_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (!events_.isOpen() || !follow())
        fail("cannot watch its files", errno);
}

bool CommitWatch::follow() noexcept {
    const int before = directoryWatch_;
    // The same directory once more keeps its watch.
    directoryWatch_ = ::inotify_add_watch(events_.get(), directory_.c_str(),
                                          IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                              IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR);
    if (before >= 0 && before != directoryWatch_)
        ::inotify_rm_watch(events_.get(), before);
    if (directoryWatch_ < 0)
        return false;
    followLog();
    return true;
}

/// Watches the file that has the log's name now.
void CommitWatch::followLog() noexcept {
    const int before = logWatch_;
    // Not there, it is followed as soon as the directory's watch tells that it was made. The same
    // file once more keeps its watch.
    logWatch_ = ::inotify_add_watch(events_.get(), log_.c_str(), IN_MODIFY);
    if (before >= 0 && before != logWatch_)
        ::inotify_rm_watch(events_.get(), before);
}

/// The database, its log and the index of that.
bool CommitWatch::isOurs(const char* name) const noexcept {
    const std::string_view text(name);
    return text.substr(0, database_.size()) == database_ &&
           (text.size() == database_.size() || text.substr(database_.size()) == "-wal" ||
            text.substr(database_.size()) == "-shm");
}

CommitWatch::Cause CommitWatch::wait(std::chrono::steady_clock::time_point until) noexcept {
    for (;;) {
        const bool woken = poll(2, until);
        if (const Cause cause = takeEvents(); cause != Cause::TIME)
            return cause;
        if (woken)
            return Cause::WOKEN;
        if (std::chrono::steady_clock::now() >= until)
            return Cause::TIME;
    }
}

CommitWatch::Cause CommitWatch::waitForWake(std::chrono::steady_clock::time_point until) noexcept {
    poll(1, until);
    return takeEvents() == Cause::NAMES_CHANGED ? Cause::NAMES_CHANGED : Cause::LOG_WRITTEN;
}

/// Waits for wake(), or with count 2 for an event too; true when there was a wake().
bool CommitWatch::poll(std::size_t count, std::chrono::steady_clock::time_point until) noexcept {
    std::array<pollfd, 2> files{{{wake_.descriptor(), POLLIN, 0}, {events_.get(), POLLIN, 0}}};
    const timespec left = timeTo(until);
    const int ready = ::ppoll(files.data(), count, &left, nullptr);
    // ppoll() failed for want of memory: fall back to looking every RETRY_TIME.
    if (ready < 0 && errno != EINTR)
        std::this_thread::sleep_until(
            std::min(until, std::chrono::steady_clock::now() + RETRY_TIME));
    return wake_.clear();
}

/// Takes what has been told so far; TIME when none of it concerns the store.
CommitWatch::Cause CommitWatch::takeEvents() noexcept {
    bool written = false;
    bool renamed = false;
    alignas(inotify_event) std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t size = ::read(events_.get(), buffer.data(), buffer.size());
        if (size <= 0)
            break;
        for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
            if (event->wd == directoryWatch_) // an event without a name is one of the directory
                renamed = renamed || event->len == 0 || isOurs(event->name);
            renamed = renamed || (event->mask & IN_Q_OVERFLOW) != 0;
            written = written || (event->wd == logWatch_ && (event->mask & IN_MODIFY) != 0);
            at += sizeof(inotify_event) + event->len;
        }
    }
    if (renamed) {
        followLog();
        return Cause::NAMES_CHANGED;
    }
    return written ? Cause::LOG_WRITTEN : Cause::TIME;
}

} // namespace propertyapi
