// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace ovo {

/// Directories of the phone that the daemon works in; each ends in "/".
struct Directories {
    static const std::string WORKING_ROOT;
    static const std::string FIRMWARE;
    static const std::string NVM;
    static const std::string CUSTOM;
    static const std::string PROVISIONING;
    /// Certificates that the phone trusts, one per file.
    static const std::string TRUSTED_CERTIFICATES;
    // Fetched files, for other services and the downloader.
    static const std::string CERTIFICATES; ///< the CA bundle
    static const std::string CERTIFICATE_STORAGE;
    static const std::string CLIENT_CERTIFICATES;
    static const std::string WALLPAPERS;
    static const std::string FIRMWARE_UPDATES;
    static const std::string CONTACTS;

    /// Mode of the directories that the daemon makes.
    static constexpr unsigned int MODE = 0775;
};

/// Files of the phone that the daemon works with.
struct Files {
    /// The pass phrase of encrypted provisioning files.
    static const std::string KEY;
    /// Name of the file that a URL without a file name asks for.
    static const std::string DEFAULT_NAME;
    /// The program that makes room for a firmware image.
    static const std::string FIRMWARE_CLEANUP;
    // The client certificate: as fetched, and as installed.
    static const std::string FETCHED_CERTIFICATE;
    static const std::string FETCHED_KEY;
    static const std::string CLIENT_CERTIFICATE;
    static const std::string CLIENT_KEY;
    static const std::string CLIENT_KEY_PASSWORD;
};

} // namespace ovo
