#include "CommitWatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <thread>

namespace propertyapi {

namespace {

constexpr std::chrono::milliseconds RETRY_TIME{50};

[[noreturn]] void fail(const char* operation, int error) {
    throw std::runtime_error(std::string(operation) + ": " + std::strerror(error));
}

/// Time to wait for poll, rounded up: a wait that is cut short would be repeated at once.
int pollTime(std::chrono::steady_clock::time_point until) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(
        left.count(), 0, std::numeric_limits<int>::max()));
}

} // namespace

CommitWatch::CommitWatch(const std::string& log)
    : log_(log)
    , name_(log.substr(log.rfind('/') + 1))
    , events_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    , wake_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (events_ >= 0 && wake_ >= 0)
        directoryWatch_ =
            ::inotify_add_watch(events_, log.substr(0, log.rfind('/') + 1).c_str(),
                                IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR);
    const int error = errno;
    if (directoryWatch_ < 0) {
        ::close(events_);
        ::close(wake_);
        fail("cannot watch its files", error);
    }
    followLog();
}

CommitWatch::~CommitWatch() {
    ::close(events_);
    ::close(wake_);
}

void CommitWatch::followLog() noexcept {
    // Not there, it is followed as soon as the directory's watch tells that it was made. The same
    // file once more keeps its watch.
    logWatch_ = ::inotify_add_watch(events_, log_.c_str(), IN_MODIFY);
}

void CommitWatch::wake() noexcept {
    const std::uint64_t one = 1;
    // Fails only when it is about to overflow, that is when it is set already.
    [[maybe_unused]] const auto written = ::write(wake_, &one, sizeof one);
}

CommitWatch::Cause CommitWatch::wait(std::chrono::steady_clock::time_point until) noexcept {
    for (;;) {
        std::array<pollfd, 2> files{{{events_, POLLIN, 0}, {wake_, POLLIN, 0}}};
        const int ready = ::poll(files.data(), files.size(), pollTime(until));
        // The kernel has no memory for it: what the wait is for is looked for at times.
        if (ready < 0 && errno != EINTR)
            std::this_thread::sleep_until(
                std::min(until, std::chrono::steady_clock::now() + RETRY_TIME));
        const bool woken = takeWake();
        if (takeEvents())
            return Cause::LOG_WRITTEN;
        if (woken)
            return Cause::WOKEN;
        if (std::chrono::steady_clock::now() >= until)
            return Cause::TIME;
    }
}

bool CommitWatch::takeWake() noexcept {
    std::uint64_t count = 0;
    return ::read(wake_, &count, sizeof count) > 0;
}

/// Takes what has been told so far; true when any of it concerns the log.
bool CommitWatch::takeEvents() noexcept {
    bool concerned = false;
    bool renamed = false;
    alignas(inotify_event) std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t size = ::read(events_, buffer.data(), buffer.size());
        if (size <= 0)
            break;
        for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
            const bool overflowed = (event->mask & IN_Q_OVERFLOW) != 0;
            const bool named =
                event->wd == directoryWatch_ && event->len > 0 && name_ == event->name;
            renamed = renamed || named || overflowed;
            concerned = concerned || named || overflowed ||
                        (event->wd == logWatch_ && (event->mask & IN_MODIFY) != 0);
            at += sizeof(inotify_event) + event->len;
        }
    }
    if (renamed)
        followLog();
    return concerned;
}

} // namespace propertyapi
