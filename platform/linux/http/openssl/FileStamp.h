#ifndef HTTP_OPENSSL_FILESTAMP_H
#define HTTP_OPENSSL_FILESTAMP_H

#include <cstdint>
#include <string>

namespace http {

/// Tells one state of a file from the next without reading it.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint32_t mode = 0;
    std::int64_t size = 0;
    std::int64_t modifiedSeconds = 0;
    std::int64_t modifiedNanoseconds = 0;
    std::int64_t changedSeconds = 0; ///< of the inode: a copy may bring its time along
    std::int64_t changedNanoseconds = 0;
    int error = 0; ///< why nothing is known about it; 0: the other values hold

    /// Of a phone path.
    static FileStamp of(const std::string& path);

    bool isMissing() const;
    bool operator==(const FileStamp&) const = default;
};

} // namespace http

#endif
