// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/UrlInfo.h"

#include <string>

namespace ovo {

/// One provisioning file to process.
struct ProvisioningFileContext {
    /// The server that the file came from; completes relative URLs in the file. After a download
    /// that reports where the file finally came from, that address.
    http::UrlInfo serverAddress;
    /// Where the file is fetched from; may hold device placeholders.
    http::UrlInfo url;
    /// The phone path that the download is written to; may hold device placeholders.
    std::string path;

    bool operator==(const ProvisioningFileContext&) const = default;
};

} // namespace ovo
