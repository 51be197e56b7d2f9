// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Directory.h"
#include "WriteError.h"
#include "posix/Descriptor.h"

#include <cstddef>
#include <optional>
#include <string>

namespace filesystem {

/// A file that is written under a temporary name in its own directory and takes its place at once
/// with commit(): a reader or a power cut sees the old or the new content and never a part. The
/// destructor removes a file that was not committed; removeAbandonedFiles() removes one that a
/// power cut left. A symbolic link in the file's place is replaced, one on the way to it is an
/// error (see Directory). All errors are std::runtime_error with the path and the cause, those of
/// the system WriteError. After an error the temporary file is gone, nothing can be committed, and
/// the old file is unchanged, unless the flush of the directory failed. For one thread at a time.
class AtomicFile {
public:
    struct Creation {
        unsigned int mode;        ///< from its creation on, never a wider one
        bool ignoreUmask = false; ///< else the umask's bits are missing
        /// Missing directories are made with this mode, whatever the umask; else they are an error.
        std::optional<unsigned int> directoryMode = std::nullopt;
    };

    /// Throws the error that writing a file with that path would end in, as far as it is known
    /// beforehand. Creates nothing. Missing directories are no error.
    static void check(const std::string& phonePath);

    AtomicFile(const std::string& phonePath, const Creation& creation);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    void append(const char* data, std::size_t size);
    /// Flushes to disk and renames; once it returns, the new content is on the disk.
    void commit();

private:
    using Step = WriteError::Step;

    void openTemporary(const Creation& creation);
    bool claimTemporary(const Creation& creation);
    void flush();
    void discard() noexcept;
    void requireOpen() const;
    [[noreturn]] void fail(Step step, int cause);

    std::string path_;      ///< the phone's, for messages
    std::string name_;      ///< in directory_, on the disk
    std::string temporary_; ///< in directory_; empty when there is none
    std::optional<Directory> directory_;
    posix::Descriptor file_;
};

} // namespace filesystem
