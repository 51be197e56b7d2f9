// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FakeRestApi.h"
#include "common/Guarded.h"
#include "http/FileDownloader.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

/// The downloader over a web client without a network: the test says what each URL gives. A URL
/// that nothing was said about answers with status 404. Any thread.
class FakeFileDownloader : public http::IFileDownloader {
public:
    struct Request {
        std::string url; ///< with its credentials
        std::string path;
        http::Access access;
        std::uint64_t maxBytes;
    };

    explicit FakeFileDownloader(const std::string& defaultFileName = "provisioning.xml");

    /// url: as it is requested, without credentials.
    void serve(const std::string& url, const std::string& content);
    /// A redirect to another URL.
    void redirect(const std::string& url, const std::string& target);
    /// The download of url fails with this cause.
    void fail(const std::string& url, int status, const std::string& cause);

    /// From now on downloads do not end before release(), or before their progress callback aborts
    /// them; it is called again and again meanwhile.
    void hold() { restApi_->hold(); }
    void release() { restApi_->release(); }

    /// Downloads asked for so far, in order.
    std::vector<Request> requests() const { return requests_.get(); }
    bool waitForRequests(std::size_t count,
                         std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

    bool hasProgressCallback() const { return hasProgressCallback_.get(); }

    http::DownloadResult download(const http::UrlInfo& url, const std::string& path,
                                  http::Access access = http::Access::OwnerOnly,
                                  std::uint64_t maxBytes = NO_LIMIT) override;
    http::DownloadResult getLastResult() const override { return downloader_.getLastResult(); }
    void setProgressCallback(ProgressCallback callback) override;

private:
    std::shared_ptr<FakeRestApi> restApi_ = std::make_shared<FakeRestApi>();
    http::FileDownloader downloader_;
    common::Guarded<std::vector<Request>> requests_;
    common::Guarded<bool> hasProgressCallback_{false};
};
