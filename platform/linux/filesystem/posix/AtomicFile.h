#ifndef FILESYSTEM_POSIX_ATOMICFILE_H
#define FILESYSTEM_POSIX_ATOMICFILE_H

#include "Descriptor.h"

#include <cstddef>
#include <string>

namespace filesystem {

/// A file that is written under a temporary name in its own directory and takes its place at once
/// with commit(): a reader or a power cut sees the old or the new content and never a part. What is
/// not committed is removed. All errors are std::runtime_error with the path and the cause; after
/// one the temporary file is gone and nothing can be committed any more. For one thread at a time.
class AtomicFile {
public:
    /// phonePath: of the file, whose directory must exist. mode: at creation; the umask applies.
    AtomicFile(const std::string& phonePath, unsigned int mode);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    void append(const char* data, std::size_t size);
    /// Flushes to disk and renames; once it returns, the new content is on the disk.
    void commit();

private:
    void openTemporary(unsigned int mode);
    void discard() noexcept;
    void requireOpen() const;
    [[noreturn]] void fail(int cause);

    std::string path_;      ///< the phone's, for messages
    std::string name_;      ///< in directory_
    std::string temporary_; ///< in directory_; empty when there is none
    Descriptor directory_;
    Descriptor file_;
};

} // namespace filesystem

#endif
