// SPDX-License-Identifier: Apache-2.0
#include "os/Execute.h"

#include "logger/Logger.h"
#include "paths/Paths.h"
#include "posix/Descriptor.h"
#include "posix/PollTimeout.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace os {

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(int cause, const char* operation) {
    throw std::system_error(cause, std::generic_category(), operation);
}

/// Readable once commands have to end, in the whole process. Negative where the system has no
/// descriptor left: then a command runs until its time is over.
int stopEvent() {
    static const int event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return event;
}

void check(int cause, const char* operation) {
    if (cause != 0)
        fail(cause, operation);
}

/// How the program starts: in a process group of its own, every signal with its default action and
/// none blocked, without input, and with no descriptor of this process except output and errors.
class SpawnSetup {
public:
    SpawnSetup() {
        check(::posix_spawnattr_init(&attributes_), "Preparing the attributes");
        if (const int cause = ::posix_spawn_file_actions_init(&actions_); cause != 0) {
            ::posix_spawnattr_destroy(&attributes_);
            fail(cause, "Preparing the descriptors");
        }
    }
    ~SpawnSetup() {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    void fill() {
        sigset_t all;
        ::sigfillset(&all);
        sigset_t none;
        ::sigemptyset(&none);
        check(::posix_spawnattr_setsigdefault(&attributes_, &all), "Setting the signals");
        check(::posix_spawnattr_setsigmask(&attributes_, &none), "Setting the signals");
        check(::posix_spawnattr_setpgroup(&attributes_, 0), "Setting the process group");
        check(::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF |
                                                           POSIX_SPAWN_SETSIGMASK |
                                                           POSIX_SPAWN_SETPGROUP),
              "Setting the attributes");
        check(::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0),
              "Setting the input");
        check(::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1),
              "Setting the descriptors");
    }

    const posix_spawnattr_t* attributes() const { return &attributes_; }
    const posix_spawn_file_actions_t* actions() const { return &actions_; }

private:
    posix_spawnattr_t attributes_{};
    posix_spawn_file_actions_t actions_{};
};

/// A started program and its process group. The system does not use its number again before wait(),
/// which the owner has to call.
class Process {
public:
    explicit Process(pid_t pid) : pid_(pid), descriptor_(openDescriptor(pid)) {
        if (!descriptor_.isOpen()) {
            const int cause = errno;
            killGroup();
            wait();
            fail(cause, "Watching the process");
        }
    }

    enum class Outcome { Ended, TimedOut, Stopped };

    /// Waits for its end, the deadline or stopCommands().
    Outcome waitUntil(Clock::time_point deadline) const {
        for (;;) {
            std::array<pollfd, 2> awaited{
                {{stopEvent(), POLLIN, 0}, {descriptor_.get(), POLLIN, 0}}};
            // Not ppoll(): the C library of some 32-bit systems takes the 64-bit time of a program
            // with checked calls for a 32-bit one.
            const int ready = ::poll(awaited.data(), awaited.size(), posix::pollTimeout(deadline));
            if (ready < 0 && errno == EINTR)
                continue;
            // Weeks are more than one call waits.
            if (ready == 0 && Clock::now() < deadline)
                continue;
            if (ready > 0 && awaited[1].revents != 0)
                return Outcome::Ended;
            return ready > 0 ? Outcome::Stopped : Outcome::TimedOut;
        }
    }

    void killGroup() const { ::kill(-pid_, SIGKILL); }

    /// Waits for the end: the exit status, or 128 + the signal's number.
    int wait() const {
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0) {
            if (errno != EINTR)
                fail(errno, "Waiting for its end");
        }
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

private:
    /// Readable once the process has ended. The libc's own function is not declared for C++.
    static int openDescriptor(pid_t pid) {
        return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    }

    pid_t pid_;
    posix::Descriptor descriptor_;
};

std::vector<std::string> split(const std::string& command) {
    std::vector<std::string> words;
    for (std::size_t begin = command.find_first_not_of(' '); begin != std::string::npos;) {
        const std::size_t end = command.find(' ', begin);
        words.push_back(command.substr(begin, end - begin));
        begin = command.find_first_not_of(' ', end);
    }
    return words;
}

pid_t start(std::vector<std::string>& words) {
    const std::string program = paths::toHost(words.front()).text();
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    SpawnSetup setup;
    setup.fill();
    pid_t pid = -1;
    check(::posix_spawn(&pid, program.c_str(), setup.actions(), setup.attributes(),
                        arguments.data(), environ),
          "Executing it");
    return pid;
}

} // namespace

int execute(const std::string& command, unsigned int timeoutMs) {
    std::vector<std::string> words = split(command);
    if (words.empty())
        words.emplace_back();
    // Arguments may hold secrets, which the log must not.
    const std::string program = words.front();
    try {
        const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        const Process process(start(words));
        const Process::Outcome outcome = process.waitUntil(deadline);
        if (outcome == Process::Outcome::Ended)
            return process.wait();
        process.killGroup();
        process.wait();
        LOG(2) << "Command " << program << " was killed: "
               << (outcome == Process::Outcome::Stopped
                       ? "the process is ending"
                       : "it did not end within " + std::to_string(timeoutMs) + " ms");
    } catch (const std::exception& exception) {
        LOG(2) << "Command " << program << " could not be run: " << exception.what();
    }
    return -1;
}

void stopCommands() noexcept {
    const std::uint64_t one = 1;
    // The counter is never read: the event stays readable. A write fails only once it is full.
    [[maybe_unused]] const ssize_t written = ::write(stopEvent(), &one, sizeof one);
}

} // namespace os
