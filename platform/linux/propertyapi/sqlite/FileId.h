#ifndef FILEID_H
#define FILEID_H

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace propertyapi {

/// Which file has a name. No two files have the same id as long as both are there, under whatever
/// name, or open.
class FileId {
public:
    /// Of no file.
    FileId() = default;
    /// Of the file that has the name now; of none when there is none or it cannot be told.
    /// size: is given the file's size in bytes.
    explicit FileId(const std::string& path, std::int64_t* size = nullptr) noexcept;

    bool isFile() const noexcept { return there_; }
    bool operator==(const FileId& other) const noexcept = default;

private:
    bool there_ = false;
    dev_t device_ = 0;
    ino_t number_ = 0;
};

} // namespace propertyapi

#endif
