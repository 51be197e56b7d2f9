// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/UrlInfo.h"

#include <cstdint>
#include <optional>
#include <utility>

namespace http {

/// How a download ended. A value type.
class DownloadResult {
public:
    DownloadResult() = default;
    DownloadResult(bool downloaded, int httpStatus, std::optional<UrlInfo> serverAddress = {},
                   std::uint64_t bytes = 0)
        : downloaded_(downloaded)
        , httpStatus_(httpStatus)
        , serverAddress_(std::move(serverAddress))
        , bytes_(bytes) {}

    /// True when the file arrived whole and stands at its place.
    bool downloaded() const { return downloaded_; }
    /// Last HTTP status received, also when the file could not be created, written or put in its
    /// place; 0 when none arrived.
    int httpStatus() const { return httpStatus_; }
    /// On success the URL that the file finally came from, without credentials.
    const std::optional<UrlInfo>& serverAddress() const { return serverAddress_; }

    /// Size of the file that arrived, after decompression.
    std::uint64_t bytes() const { return bytes_; }

private:
    bool downloaded_ = false;
    int httpStatus_ = 0;
    std::optional<UrlInfo> serverAddress_;
    std::uint64_t bytes_ = 0;
};

} // namespace http
