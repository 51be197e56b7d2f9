#ifndef DOWNLOADFILE_H
#define DOWNLOADFILE_H

#include "Descriptor.h"
#include "http/IFileDownloader.h"

#include <cstddef>
#include <string>

namespace http {

/// The target of a download: filled under a temporary name in the same directory, and put in its
/// place when it is whole. An object that goes before that leaves nothing behind. Unlike a
/// filesystem::AtomicFile it is large and long in coming: its temporary is locked, so that one that
/// a power cut left can be told from one in use, and its mode is the one asked for whatever the
/// umask. Errors are std::runtime_error whose text names the path and the cause.
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
    bool created() const { return file_.isOpen(); }
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
    filesystem::Descriptor file_;
};

} // namespace http

#endif
