// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/Descriptor.h"

#include <cerrno>
#include <optional>
#include <string>
#include <utility>

namespace filesystem {

/// An open directory of the phone to which no planted symbolic link led. Operations on its
/// descriptor happen in that directory, whatever its path names meanwhile.
///
/// Symbolic links are followed only in the top of the tree, where the distribution may link to
/// other partitions: the phone's root directory, the first component of a path ("/data", "/etc"
/// ...) and
/// "/var/volatile". Below, where files from the network are kept, each component has to be a
/// directory itself.
class Directory {
public:
    enum class Use {
        Search, ///< to reach its entries; needs no permission to read it
        Files,  ///< also to list and to flush it
    };

    /// phonePath: with or without a "/" at its end. modeOfMissing: missing directories are made
    /// with this mode, whatever the umask, and flushed to disk; existing ones stay unchanged.
    /// Throws std::runtime_error for a refused path; any other failure leaves the object closed.
    Directory(const std::string& phonePath, Use use,
              std::optional<unsigned int> modeOfMissing = std::nullopt);

    bool isOpen() const { return directory_.isOpen(); }
    int get() const { return directory_.get(); }
    /// The descriptor, which the caller has from now on.
    posix::Descriptor take() { return std::move(directory_); }
    /// It is closed because it, or one above it, does not exist.
    bool isMissing() const { return !isOpen() && cause_ == ENOENT; }

    /// Throws the reason why it is closed: std::system_error with the system's error number, or
    /// std::runtime_error that names the symbolic link in the way. operation: begins the text.
    [[noreturn]] void fail(const std::string& operation) const;

private:
    bool openTop(const std::string& phonePath, int flags);
    bool enter(const std::string& name, int flags);
    bool make(const std::string& name, int flags);
    bool stop(int cause);

    std::optional<unsigned int> modeOfMissing_;
    posix::Descriptor directory_;
    int cause_ = 0;
    bool isLink_ = false; ///< a symbolic link is in the way ...
    std::string path_;    ///< ... which has this phone path
};

} // namespace filesystem
