// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CredentialsSources.h"
#include "DownloadFile.h"
#include "DownloadSettings.h"
#include "http/IFileDownloader.h"
#include "http/IRestApi.h"
#include "http/ISecurity.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace http {

/// One download, from the first request to the renamed file: follows redirects, answers requests
/// for credentials, counts the bytes. On the downloading thread.
class Transfer {
public:
    struct Services {
        IRestApi& restApi;
        const ISecurity& security;
        std::shared_ptr<ICredentialsProvider> credentialsProvider;
    };

    Transfer(const Services& services, const DownloadSettings& settings, const UrlInfo& url,
             IFileDownloader::ProgressCallback progress, DownloadFile& file);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    /// Throws std::runtime_error with the cause, which names no URL and no credentials.
    void run();

    /// Last HTTP status received; 0 when none arrived.
    int status() const { return status_; }
    /// The URL of the current request, without credentials.
    const UrlInfo& url() const { return url_; }
    /// Bytes of the file so far.
    std::uint64_t size() const { return written_; }

private:
    HttpResponse request();
    void judge(const HttpResponse& response);
    void redirect(const HttpResponse& response);
    void chooseCredentials(const HttpResponse& response);
    void keepTypedIn();
    void takeLength(std::uint64_t length) const;
    void takeBody(const char* data, std::size_t size);
    [[noreturn]] void refuseSize() const;
    int reportProgress(std::int64_t total, std::int64_t received) const;
    bool atOrigin() const;

    Services services_;
    DownloadSettings settings_;
    IFileDownloader::ProgressCallback progress_;
    DownloadFile& file_;
    UrlInfo origin_; ///< the URL of the download, without credentials
    UrlInfo url_;
    CredentialsSources sources_;
    std::optional<Credentials> credentials_; ///< set once the server asked; for the origin only
    AuthScheme scheme_ = AuthScheme::None;
    int status_ = 0;
    unsigned int redirects_ = 0;
    std::uint64_t written_ = 0;
};

} // namespace http
