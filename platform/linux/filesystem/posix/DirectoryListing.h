// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dirent.h>

#include <memory>
#include <string>

namespace filesystem {

/// Iterates over the names in an open directory, in no order. Entries may be removed meanwhile.
/// Memory does not grow with the directory.
class DirectoryListing {
public:
    /// directory: stays the caller's. phonePath: for messages. Throws std::system_error, as next()
    /// does.
    DirectoryListing(int directory, const std::string& phonePath);

    /// Null at the end, otherwise valid until the next call. Without "." and "..".
    const char* next();

private:
    struct Close {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };

    [[noreturn]] void fail(int cause) const;

    std::string phonePath_;
    std::unique_ptr<DIR, Close> stream_;
};

} // namespace filesystem
