// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/Descriptor.h"

#include <cerrno>
#include <optional>
#include <string>

namespace filesystem {

/// An open directory of the phone to which no planted symbolic link led: what is done through its
/// descriptor happens in that directory, whatever stands at its path by then.
///
/// Symbolic links are followed only in the top of the tree, which the distribution lays out and
/// from where it may link to other partitions: the phone's root directory, the first component of
/// a path ("/data", "/etc" ...) and "/var/volatile". Below, where files from the net are kept, each
/// component has to be a directory itself.
class Directory {
public:
    enum class Use {
        Search, ///< to reach what is in it; needs no permission to read it
        Files,  ///< to list and to flush it, too
    };

    /// phonePath: with or without a "/" at its end. modeOfMissing: what is missing is made with
    /// this mode, whatever the umask, and flushed to disk; what is there is left as it is. Throws
    /// std::runtime_error for a path that is refused; another failure leaves it closed.
    Directory(const std::string& phonePath, Use use,
              std::optional<unsigned int> modeOfMissing = std::nullopt);

    bool isOpen() const { return directory_.isOpen(); }
    int get() const { return directory_.get(); }
    /// It is closed because it, or one above it, does not exist.
    bool isMissing() const { return !isOpen() && cause_ == ENOENT; }

    /// Throws why it is closed: std::system_error with the system's error number, or
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
