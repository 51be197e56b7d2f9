// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/ICredentialsProvider.h"
#include "http/IFileDownloader.h"
#include "http/IRestApi.h"
#include "http/ISecurity.h"
#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>
#include <string>

namespace http {

/// The downloader: redirects, credentials, limits, and the file on disk. Settings are read once
/// from the phone configuration, as decimal text: "networking.download.ConnectTimeout" and
/// "networking.download.StallTimeout" in seconds, "networking.download.MaxBytes" in bytes.
class FileDownloader : public IFileDownloader {
public:
    /// defaultFileName: requested where the URL of a download names a directory only; the server
    /// address of the result then has it too. credentialsProvider: empty where there are no
    /// credentials but those in URLs. propertyApi: not used.
    FileDownloader(std::shared_ptr<IRestApi> restApi, std::shared_ptr<ISecurity> security,
                   const std::shared_ptr<propertyapi::IPropertyApi>& propertyApi,
                   const std::shared_ptr<phoneconfig::IPhoneConfig>& phoneConfig,
                   std::shared_ptr<ICredentialsProvider> credentialsProvider,
                   std::string defaultFileName);
    ~FileDownloader() override;
    FileDownloader(const FileDownloader&) = delete;
    FileDownloader& operator=(const FileDownloader&) = delete;

    DownloadResult download(const UrlInfo& url, const std::string& path,
                            Access access = Access::OwnerOnly,
                            std::uint64_t maxBytes = NO_LIMIT) override;
    DownloadResult getLastResult() const override;
    void setProgressCallback(ProgressCallback callback) override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace http
