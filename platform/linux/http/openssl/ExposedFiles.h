#ifndef HTTP_OPENSSL_EXPOSEDFILES_H
#define HTTP_OPENSSL_EXPOSEDFILES_H

#include "FileStamp.h"

#include <map>
#include <mutex>
#include <string>

namespace http {

/// Says which files with a secret others than their owner have some permission for: one level 2
/// line for each file, and another one when the file has changed. Any thread.
class ExposedFiles {
public:
    /// path: the phone's. stamp: of the file as it is used.
    void look(const std::string& path, const FileStamp& stamp);

private:
    bool isNews(const std::string& path, const FileStamp& stamp);

    std::mutex mutex_;
    std::map<std::string, FileStamp> told_; ///< as they were
};

} // namespace http

#endif
