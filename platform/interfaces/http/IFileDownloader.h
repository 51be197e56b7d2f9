// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/DownloadResult.h"
#include "http/UrlInfo.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <string>

namespace http {

/// Who may read a downloaded file, at every moment from its creation on.
enum class Access {
    OwnerOnly, ///< mode 0600: may hold passwords or keys
    Everyone   ///< mode 0644: for other services of the phone
};

/// Fetches files over HTTP and HTTPS. Any thread; several downloads may run at once.
class IFileDownloader {
public:
    /// Counters in bytes: download total (0 while unknown), downloaded, upload total, uploaded. A
    /// result other than 0 aborts the transfer. Called on the downloading thread, at least about
    /// once a second while a transfer runs, a silent one too. 64 bits wide where `long` is not: a
    /// file may be larger than 2 GiB.
    using ProgressCallback = std::function<int(std::int64_t dltotal, std::int64_t dlnow,
                                               std::int64_t ultotal, std::int64_t ulnow)>;

    /// A download that is limited by the configuration alone.
    static constexpr std::uint64_t NO_LIMIT = std::numeric_limits<std::uint64_t>::max();

    virtual ~IFileDownloader() = default;
    /// Fetches url to the local path; directories missing above it are made. Blocks until the
    /// transfer has ended. On every failure the file that stood at path is untouched, one level 2
    /// line is written and a std::runtime_error with the same sentence (host and cause, no
    /// credentials) is thrown. Returns the result of this download. maxBytes: a larger file,
    /// counted after decompression, is a failure; the configured limit holds in any case.
    virtual DownloadResult download(const UrlInfo& url, const std::string& path,
                                    Access access = Access::OwnerOnly,
                                    std::uint64_t maxBytes = NO_LIMIT) = 0;
    /// Result of the download that ended last, failed ones included, on whichever thread.
    virtual DownloadResult getLastResult() const = 0;
    /// Replaces the callback of all downloads started from now on.
    virtual void setProgressCallback(ProgressCallback callback) = 0;
};

} // namespace http
