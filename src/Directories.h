#ifndef DIRECTORIES_H
#define DIRECTORIES_H

#include <string>

namespace ovo {

/// Directories of the phone that the daemon works in; each ends in "/".
struct Directories {
    static const std::string WORKING_ROOT;
    static const std::string FIRMWARE;
    static const std::string NVM;
    static const std::string CUSTOM;
    static const std::string PROVISIONING;
    /// Certificates that the phone trusts, one a file.
    static const std::string TRUSTED_CERTIFICATES;

    /// Mode of the working directories.
    static constexpr unsigned int MODE = 0775;
};

} // namespace ovo

#endif
