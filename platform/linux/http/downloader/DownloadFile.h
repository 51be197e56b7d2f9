#ifndef DOWNLOADFILE_H
#define DOWNLOADFILE_H

#include "http/IFileDownloader.h"

#include <cstddef>
#include <string>

namespace http {

/// The target of a download: filled under a temporary name in the same directory, and put in its
/// place when it is whole. An object that goes before that leaves nothing behind. Errors are
/// std::runtime_error whose text names the path and the cause.
class DownloadFile {
public:
    /// Checks the phone's path; touches nothing yet.
    DownloadFile(std::string path, Access access);
    ~DownloadFile();
    DownloadFile(const DownloadFile&) = delete;
    DownloadFile& operator=(const DownloadFile&) = delete;

    /// Makes the missing directories (mode 0775) and the temporary file. Temporaries that a power
    /// cut left in the directory are removed.
    void create();
    bool created() const { return descriptor_ >= 0; }
    void append(const char* data, std::size_t size);
    /// Flushes the content to disk and renames it.
    void commit();

private:
    bool claimTemporary();
    void flushDirectory() const;
    [[noreturn]] void fail(const char* operation, int error) const;

    std::string path_;          ///< the phone's
    std::string hostPath_;      ///< the machine's
    std::string hostDirectory_; ///< with the "/" at its end
    Access access_;
    std::string temporary_;
    int descriptor_ = -1;
};

} // namespace http

#endif
