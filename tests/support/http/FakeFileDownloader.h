// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/IFileDownloader.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

/// A downloader without a network: the test says what each URL gives. A URL that nothing was said
/// about answers with status 404. Any thread.
class FakeFileDownloader : public http::IFileDownloader {
public:
    struct Reply {
        int status = 200; ///< 0: none arrives
        std::string content;
        std::string failure;       ///< cause; not empty: the download fails
        std::string serverAddress; ///< where the file finally comes from; empty: the URL itself
    };

    struct Request {
        std::string url; ///< with its credentials
        std::string path;
        http::Access access;
        std::uint64_t maxBytes;
    };

    explicit FakeFileDownloader(std::string defaultFileName = "provisioning.xml");

    /// url: as it is requested, without credentials.
    void serve(const std::string& url, const std::string& content);
    void serve(const std::string& url, const Reply& reply);
    /// The download of url fails with this cause.
    void fail(const std::string& url, int status, const std::string& cause);

    /// From now on downloads do not end before release(), or before their progress callback aborts
    /// them; it is called again and again meanwhile.
    void hold();
    void release();

    /// Downloads asked for so far, in order.
    std::vector<Request> requests() const;
    bool waitForRequests(std::size_t count,
                         std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

    bool hasProgressCallback() const;

    http::DownloadResult download(const http::UrlInfo& url, const std::string& path,
                                  http::Access access = http::Access::OwnerOnly,
                                  std::uint64_t maxBytes = NO_LIMIT) override;
    http::DownloadResult getLastResult() const override;
    void setProgressCallback(ProgressCallback callback) override;

private:
    Reply replyFor(const std::string& url) const;
    void waitForRelease(const ProgressCallback& progress);
    http::DownloadResult deliver(const Request& request, const ProgressCallback& progress,
                                 int& status);
    void remember(const http::DownloadResult& result);

    std::string defaultFileName_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::map<std::string, Reply> replies_;
    std::vector<Request> requests_;
    bool held_ = false;
    ProgressCallback progress_;
    http::DownloadResult lastResult_;
};
