#ifndef HTTP_FILEDOWNLOADER_H
#define HTTP_FILEDOWNLOADER_H

#include "http/ICredentialsProvider.h"
#include "http/IFileDownloader.h"
#include "http/IRestApi.h"
#include "http/ISecurity.h"
#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>
#include <string>

namespace http {

/// The downloader: redirects, credentials, limits, and the file on disk. Settings are read from the
/// phone configuration, as decimal text: "networking.download.ConnectTimeout" and
/// "networking.download.StallTimeout" in seconds, "networking.download.MaxBytes" in bytes.
class FileDownloader : public IFileDownloader {
public:
    /// defaultFileName: requested where a URL names a directory only.
    FileDownloader(std::shared_ptr<IRestApi> restApi, std::shared_ptr<ISecurity> security,
                   std::shared_ptr<propertyapi::IPropertyApi> propertyApi,
                   std::shared_ptr<phoneconfig::IPhoneConfig> phoneConfig,
                   std::shared_ptr<ICredentialsProvider> credentialsProvider,
                   std::string defaultFileName);
    ~FileDownloader() override;
    FileDownloader(const FileDownloader&) = delete;
    FileDownloader& operator=(const FileDownloader&) = delete;

    DownloadResult download(const UrlInfo& url, const std::string& path,
                            Access access = Access::OwnerOnly) override;
    DownloadResult getLastResult() const override;
    void setProgressCallback(ProgressCallback callback) override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace http

#endif
