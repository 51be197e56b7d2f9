// SPDX-License-Identifier: Apache-2.0
#include "StderrWriter.h"

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>

namespace logger {

namespace {

/// How long one line waits for a reader that is not reading.
constexpr int PATIENCE_MS = 500;
/// A writable pipe has room for this many bytes: a write of them does not block, and others do not
/// mix with it.
constexpr std::size_t CHUNK = PIPE_BUF;

/// Blocks the signal of a pipe without a reader while the object lives, unless the process ignores
/// it, as the daemon does: that takes one system call for a line in place of four.
class PipeSignalBlocked {
public:
    PipeSignalBlocked() {
        struct sigaction action {};
        if (::sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
            return;
        isBlocked_ = true;
        ::sigemptyset(&pipe_);
        ::sigaddset(&pipe_, SIGPIPE);
        sigset_t pending;
        ::sigpending(&pending);
        wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
        ::pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~PipeSignalBlocked() {
        if (!isBlocked_)
            return;
        // The signal goes to the writing thread: a pending one came from here.
        constexpr timespec AT_ONCE{0, 0};
        if (!wasPending_) {
            while (::sigtimedwait(&pipe_, nullptr, &AT_ONCE) < 0 && errno == EINTR) {
            }
        }
        ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    PipeSignalBlocked(const PipeSignalBlocked&) = delete;
    PipeSignalBlocked& operator=(const PipeSignalBlocked&) = delete;

private:
    sigset_t pipe_{};
    sigset_t before_{};
    bool wasPending_ = false;
    bool isBlocked_ = false;
};

bool hasRoom(int timeoutMs) {
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    int ready = 0;
    do {
        ready = ::poll(&output, 1, timeoutMs);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

} // namespace

void StderrWriter::write(std::string_view line) {
    const int before = errno;
    const PipeSignalBlocked blocked;
    if (cut_ && writeUntilFull("\n") == 0) {
        errno = before;
        return;
    }
    const std::size_t written = writeUntilFull(line);
    cut_ = written > 0 && written < line.size();
    errno = before;
}

std::size_t StderrWriter::writeUntilFull(std::string_view text) {
    std::size_t written = 0;
    while (written < text.size()) {
        if (!hasRoom(stalled_ ? 0 : PATIENCE_MS)) {
            stalled_ = true;
            break;
        }
        stalled_ = false;
        const std::size_t size = std::min(text.size() - written, CHUNK);
        const ssize_t count = ::write(STDERR_FILENO, text.data() + written, size);
        if (count > 0)
            written += static_cast<std::size_t>(count);
        else if (count == 0 || errno != EINTR)
            break;
    }
    return written;
}

} // namespace logger
