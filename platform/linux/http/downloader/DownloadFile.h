// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "filesystem/posix/AtomicFile.h"
#include "http/IFileDownloader.h"

#include <cstddef>
#include <optional>
#include <string>

namespace http {

/// The target of a download: an atomic file that is created when there is something to write. Its
/// mode does not depend on the umask. Errors are std::runtime_error whose text names
/// the path and the cause.
class DownloadFile {
public:
    /// Refuses a path that cannot be written: one that leads elsewhere, with a symbolic link or a
    /// file among its directories, or that is a directory. Writes nothing yet.
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
