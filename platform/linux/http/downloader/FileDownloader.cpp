// SPDX-License-Identifier: Apache-2.0
#include "http/FileDownloader.h"

#include "DownloadFile.h"
#include "DownloadSettings.h"
#include "Transfer.h"
#include "logger/Logger.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace http {

namespace {

std::string hostOf(const UrlInfo& url) {
    return url.port == 0 ? url.host : url.host + ":" + std::to_string(url.port);
}

/// "Download from HOST failed: CAUSE"; says too where redirects led. No host where the
/// URL is none.
std::string sentence(const UrlInfo& requested, const UrlInfo& reached, const std::string& cause) {
    std::string text = "Download";
    if (!requested.host.empty())
        text += " from " + hostOf(requested);
    if (hostOf(reached) != hostOf(requested))
        text += ", redirected to " + hostOf(reached) + ",";
    return text + " failed: " + cause;
}

} // namespace

struct FileDownloader::Impl {
    std::shared_ptr<IRestApi> restApi;
    std::shared_ptr<ISecurity> security;
    std::shared_ptr<ICredentialsProvider> credentialsProvider;
    std::string defaultFileName;
    DownloadSettings settings;

    mutable std::mutex mutex; ///< guards the two below
    ProgressCallback progress;
    DownloadResult lastResult;

    ProgressCallback currentProgress() const {
        const std::lock_guard lock(mutex);
        return progress;
    }

    void remember(const DownloadResult& result) {
        const std::lock_guard lock(mutex);
        lastResult = result;
    }

    UrlInfo checked(const UrlInfo& url) const {
        // Fields that were set by hand hold what the text of the URL says, or are refused.
        UrlInfo result(url.getUrl());
        if (result.fileName.empty())
            result.fileName = defaultFileName;
        return result;
    }
};

FileDownloader::FileDownloader(std::shared_ptr<IRestApi> restApi,
                               std::shared_ptr<ISecurity> security,
                               const std::shared_ptr<propertyapi::IPropertyApi>& /*propertyApi*/,
                               const std::shared_ptr<phoneconfig::IPhoneConfig>& phoneConfig,
                               std::shared_ptr<ICredentialsProvider> credentialsProvider,
                               std::string defaultFileName)
    : impl_(std::make_unique<Impl>()) {
    impl_->restApi = std::move(restApi);
    impl_->security = std::move(security);
    impl_->credentialsProvider = std::move(credentialsProvider);
    impl_->defaultFileName = std::move(defaultFileName);
    impl_->settings = DownloadSettings::read(*phoneConfig);
}

FileDownloader::~FileDownloader() = default;

DownloadResult FileDownloader::download(const UrlInfo& url, const std::string& path, Access access,
                                        std::uint64_t maxBytes) {
    DownloadSettings settings = impl_->settings;
    settings.maxBytes = std::min(settings.maxBytes, maxBytes);
    UrlInfo requested;
    std::optional<DownloadFile> file;
    std::optional<Transfer> transfer;
    std::string cause;
    try {
        requested = impl_->checked(url);
        file.emplace(path, access);
        transfer.emplace(
            Transfer::Services{*impl_->restApi, *impl_->security, impl_->credentialsProvider},
            settings, requested, impl_->currentProgress(), *file);
        transfer->run();
        DownloadResult result(true, transfer->status(), transfer->url());
        impl_->remember(result);
        return result;
    } catch (const std::exception& error) {
        cause = error.what();
    } catch (...) {
        cause = "a callback threw something that has no text";
    }
    impl_->remember({false, transfer ? transfer->status() : 0});
    const std::string text = sentence(requested, transfer ? transfer->url() : requested, cause);
    LOG(2) << text;
    throw std::runtime_error(text);
}

DownloadResult FileDownloader::getLastResult() const {
    const std::lock_guard lock(impl_->mutex);
    return impl_->lastResult;
}

void FileDownloader::setProgressCallback(ProgressCallback callback) {
    const std::lock_guard lock(impl_->mutex);
    impl_->progress.swap(callback);
}

} // namespace http
