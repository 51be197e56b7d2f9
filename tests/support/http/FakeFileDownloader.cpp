// SPDX-License-Identifier: Apache-2.0
#include "FakeFileDownloader.h"

#include "logger/Logger.h"
#include "root/Root.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace {

constexpr const char* ABORTED = "the transfer was aborted";

void makeDirectories(const std::filesystem::path& directory) {
    if (directory.empty() || std::filesystem::exists(directory))
        return;
    makeDirectories(directory.parent_path());
    std::filesystem::create_directory(directory);
    ::chmod(directory.c_str(), 0775);
}

void writeFile(const std::string& hostPath, const std::string& content, http::Access access) {
    makeDirectories(std::filesystem::path(hostPath).parent_path());
    std::ofstream file(hostPath, std::ios::binary | std::ios::trunc);
    file << content;
    if (!file.flush())
        throw std::runtime_error("cannot write " + hostPath);
    ::chmod(hostPath.c_str(), access == http::Access::OwnerOnly ? 0600 : 0644);
}

} // namespace

FakeFileDownloader::FakeFileDownloader(std::string defaultFileName)
    : defaultFileName_(std::move(defaultFileName)) {}

void FakeFileDownloader::serve(const std::string& url, const std::string& content) {
    Reply reply;
    reply.content = content;
    serve(url, reply);
}

void FakeFileDownloader::serve(const std::string& url, const Reply& reply) {
    const std::lock_guard lock(mutex_);
    replies_[url] = reply;
}

void FakeFileDownloader::fail(const std::string& url, int status, const std::string& cause) {
    Reply reply;
    reply.status = status;
    reply.failure = cause;
    serve(url, reply);
}

void FakeFileDownloader::hold() {
    const std::lock_guard lock(mutex_);
    held_ = true;
}

void FakeFileDownloader::release() {
    const std::lock_guard lock(mutex_);
    held_ = false;
    changed_.notify_all();
}

std::vector<FakeFileDownloader::Request> FakeFileDownloader::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

bool FakeFileDownloader::waitForRequests(std::size_t count,
                                         std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return requests_.size() >= count; });
}

http::DownloadResult FakeFileDownloader::download(const http::UrlInfo& url, const std::string& path,
                                                  http::Access access, std::uint64_t maxBytes) {
    const Request request{url.getUrl(), path, access, maxBytes};
    ProgressCallback progress;
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
        progress = progress_;
        changed_.notify_all();
    }
    int status = 0;
    try {
        waitForRelease(progress);
        http::DownloadResult result = deliver(request, progress, status);
        remember(result);
        return result;
    } catch (const std::exception& error) {
        remember({false, status});
        const std::string text = "Download from " + url.host + " failed: " + error.what();
        LOG(2) << text;
        throw std::runtime_error(text);
    }
}

FakeFileDownloader::Reply FakeFileDownloader::replyFor(const std::string& url) const {
    const std::lock_guard lock(mutex_);
    const auto found = replies_.find(url);
    if (found != replies_.end())
        return found->second;
    Reply reply;
    reply.status = 404;
    reply.failure = "the server answered with status 404";
    return reply;
}

void FakeFileDownloader::waitForRelease(const ProgressCallback& progress) {
    for (;;) {
        if (progress && progress(0, 0, 0, 0) != 0)
            throw std::runtime_error(ABORTED);
        std::unique_lock lock(mutex_);
        if (changed_.wait_for(lock, std::chrono::milliseconds(20), [this] { return !held_; }))
            return;
    }
}

http::DownloadResult FakeFileDownloader::deliver(const Request& request,
                                                 const ProgressCallback& progress, int& status) {
    const std::string hostPath = root::toHost(request.path).text();
    if (request.path.back() == '/')
        throw std::runtime_error("Path \"" + request.path + "\" refused: it names no file");
    http::UrlInfo address = withoutCredentials(http::UrlInfo(request.url));
    if (address.fileName.empty())
        address.fileName = defaultFileName_;

    const Reply reply = replyFor(address.getUrl());
    status = reply.status;
    if (!reply.failure.empty())
        throw std::runtime_error(reply.failure);
    if (reply.content.size() > request.maxBytes)
        throw std::runtime_error("the file is larger than " + std::to_string(request.maxBytes) +
                                 " bytes");
    const auto size = static_cast<long>(reply.content.size());
    if (progress && progress(size, size, 0, 0) != 0)
        throw std::runtime_error(ABORTED);
    writeFile(hostPath, reply.content, request.access);
    return {true, status,
            reply.serverAddress.empty() ? address : http::UrlInfo(reply.serverAddress)};
}

http::DownloadResult FakeFileDownloader::getLastResult() const {
    const std::lock_guard lock(mutex_);
    return lastResult_;
}

bool FakeFileDownloader::hasProgressCallback() const {
    const std::lock_guard lock(mutex_);
    return static_cast<bool>(progress_);
}

void FakeFileDownloader::setProgressCallback(ProgressCallback callback) {
    const std::lock_guard lock(mutex_);
    progress_.swap(callback);
}

void FakeFileDownloader::remember(const http::DownloadResult& result) {
    const std::lock_guard lock(mutex_);
    lastResult_ = result;
}
