// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "PlanRecorder.h"
#include "SizeProbe.h"
#include "http/IFileDownloader.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ovoctl {

/// The downloads of a planned run. What the run itself reads (provisioning files, certificates,
/// keys) is fetched into the scratch root; of a large file for other services (firmware, wallpaper,
/// phone book) only the size is learned. For the thread of the run.
class PlannedDownloads : public http::IFileDownloader {
public:
    /// Up to this size a file for other services is fetched whole.
    static constexpr std::uint64_t SMALL = std::uint64_t{1} << 20U;

    struct Start {
        /// What the run begins with where that is a file of this machine.
        std::optional<std::string> content;
        /// Directory of the address that such a file got for lack of a real one, which nothing can
        /// be fetched from; empty: it has a real one.
        std::string madeUpDirectory;
    };

    /// downloader fetches over probe. mostFiles: the provisioning file after so many is not
    /// fetched, and onTooMany is called. recorder outlives this.
    PlannedDownloads(std::unique_ptr<http::IFileDownloader> downloader,
                     std::shared_ptr<SizeProbe> probe, PlanRecorder& recorder, Start start,
                     std::size_t mostFiles, std::function<void()> onTooMany);

    http::DownloadResult download(const http::UrlInfo& url, const std::string& path,
                                  http::Access access, std::uint64_t maxBytes) override;
    http::DownloadResult getLastResult() const override { return last_; }
    void setProgressCallback(ProgressCallback callback) override;

private:
    http::DownloadResult fetchProvisioningFile(const http::UrlInfo& url, const std::string& path,
                                               http::Access access, std::uint64_t maxBytes);
    http::DownloadResult copyStart(const http::UrlInfo& url, const std::string& path,
                                   std::uint64_t maxBytes);
    http::DownloadResult fetch(const http::UrlInfo& url, const std::string& path,
                               http::Access access, std::uint64_t maxBytes);
    http::DownloadResult probeOrFetch(const http::UrlInfo& url, const std::string& path,
                                      http::Access access);
    void requireRealAddress(const http::UrlInfo& url) const;

    std::unique_ptr<http::IFileDownloader> downloader_;
    std::shared_ptr<SizeProbe> probe_;
    PlanRecorder& recorder_;
    Start start_;
    std::size_t mostFiles_;
    std::function<void()> onTooMany_;
    std::size_t files_ = 0;
    http::DownloadResult last_;
};

} // namespace ovoctl
