// SPDX-License-Identifier: Apache-2.0
#include "ProcessLock.h"

#include "filesystem/Filesystem.h"
#include "logger/Logger.h"
#include "paths/Paths.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace app {

namespace {

constexpr const char* DIRECTORY = "/run/halden/";
constexpr unsigned int DIRECTORY_MODE = 0775;
/// Whoever can open it, to read alone too, can hold it and keep the daemon from starting.
constexpr mode_t FILE_MODE = 0600;

/// The number in a lock file without its line's end; empty when there is none.
std::string ownerOf(const std::string& path) {
    try {
        const std::string text = filesystem::read(path);
        return text.substr(0, text.find_first_not_of("0123456789"));
    } catch (const std::exception&) {
        return {};
    }
}

void note(int file) {
    const std::string text = std::to_string(::getpid()) + "\n";
    // For people only: the lock holds without it.
    if (::ftruncate(file, 0) == 0) {
        [[maybe_unused]] const ssize_t written = ::pwrite(file, text.data(), text.size(), 0);
    }
}

} // namespace

ProcessLock::ProcessLock(const std::string& name) {
    const std::string path = DIRECTORY + name + ".lock";
    try {
        filesystem::makeDirectory(DIRECTORY, DIRECTORY_MODE);
        file_.reset(::open(paths::toHost(path).c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC,
                           FILE_MODE));
        if (!file_.isOpen())
            throw std::system_error(errno, std::generic_category(), "opening it");
        if (::flock(file_.get(), LOCK_EX | LOCK_NB) == 0) {
            note(file_.get());
            return;
        }
        if (errno != EWOULDBLOCK)
            throw std::system_error(errno, std::generic_category(), "locking it");
    } catch (const std::exception& error) {
        LOG(2) << "Lock file " << path << " cannot be used (" << error.what()
               << "): a second process of this name would go unnoticed";
        return;
    }
    const std::string owner = ownerOf(path);
    throw std::runtime_error("Another process" + (owner.empty() ? "" : " (" + owner + ")") +
                             " serves as " + name + " already: it holds the lock " + path);
}

} // namespace app
