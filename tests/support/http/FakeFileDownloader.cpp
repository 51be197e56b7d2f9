// SPDX-License-Identifier: Apache-2.0
#include "FakeFileDownloader.h"

#include "support/process/WaitUntil.h"
#include "support/security/FakePhoneConfig.h"
#include "support/security/FakeSecurity.h"

#include <utility>

FakeFileDownloader::FakeFileDownloader(const std::string& defaultFileName)
    : downloader_(restApi_, std::make_shared<FakeSecurity>(), nullptr,
                  std::make_shared<FakePhoneConfig>(), nullptr, defaultFileName) {}

void FakeFileDownloader::serve(const std::string& url, const std::string& content) {
    restApi_->serve(url, content);
}

void FakeFileDownloader::redirect(const std::string& url, const std::string& target) {
    restApi_->serve(url, {.status = 302, .location = target});
}

void FakeFileDownloader::fail(const std::string& url, int status, const std::string& cause) {
    restApi_->serve(url, {.status = status, .failure = cause});
}

bool FakeFileDownloader::waitForRequests(std::size_t count,
                                         std::chrono::milliseconds timeout) const {
    return waitUntil([&] { return requests().size() >= count; }, timeout);
}

http::DownloadResult FakeFileDownloader::download(const http::UrlInfo& url, const std::string& path,
                                                  http::Access access, std::uint64_t maxBytes) {
    requests_.lock()->push_back({url.getUrl(), path, access, maxBytes});
    return downloader_.download(url, path, access, maxBytes);
}

void FakeFileDownloader::setProgressCallback(ProgressCallback callback) {
    hasProgressCallback_.set(static_cast<bool>(callback));
    downloader_.setProgressCallback(std::move(callback));
}
