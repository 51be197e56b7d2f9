// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "filesystem/posix/AtomicFile.h"
#include "http/IFileDownloader.h"

#include <cstddef>
#include <optional>
#include <string>

namespace http {

/// The target of a download: an atomic file that begins to exist when there is something to keep.
/// Its mode is the one asked for whatever the umask. Errors are std::runtime_error whose text names
/// the path and the cause.
class DownloadFile {
public:
    /// Refuses what is known to be in the way already: a path that leads elsewhere, a symbolic link
    /// or a file on the way, a directory in the file's place. Touches nothing yet.
    DownloadFile(std::string path, Access access);
    DownloadFile(const DownloadFile&) = delete;
    DownloadFile& operator=(const DownloadFile&) = delete;

    /// Makes the missing directories (mode 0775) and the temporary file.
    void create();
    bool created() const { return file_.has_value(); }
    void append(const char* data, std::size_t size);
    /// Flushes the content to disk and renames it.
    void commit();

private:
    [[noreturn]] void fail(const filesystem::WriteError& error) const;

    std::string path_; ///< the phone's
    Access access_;
    std::optional<filesystem::AtomicFile> file_;
};

} // namespace http
