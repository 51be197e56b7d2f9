// SPDX-License-Identifier: Apache-2.0
#include "http/FileDownloader.h"

#include "DownloadFile.h"
#include "DownloadSettings.h"
#include "Transfer.h"
#include "common/Guarded.h"
#include "logger/Logger.h"
#include "posix/LibraryDate.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace http {

namespace {

std::string hostOf(const UrlInfo& url) {
    return url.port == 0 ? url.host : url.host + ":" + std::to_string(url.port);
}

/// "Download from HOST failed: CAUSE"; also says where redirects led. Without a host where the URL
/// has none.
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

    common::Guarded<ProgressCallback> progress;
    common::Guarded<DownloadResult> lastResult;

    UrlInfo checked(const UrlInfo& url) const {
        // Fields that were set by hand are parsed like any text, or refused.
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
    posix::reportUnknownDate();
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
            settings, requested, impl_->progress.get(), *file);
        transfer->run();
        DownloadResult result(true, transfer->status(), transfer->url(), transfer->size());
        impl_->lastResult.set(result);
        return result;
    } catch (const std::exception& error) {
        cause = error.what();
    } catch (...) {
        cause = "a callback threw something that has no text";
    }
    impl_->lastResult.set({false, transfer ? transfer->status() : 0});
    const std::string text = sentence(requested, transfer ? transfer->url() : requested, cause);
    LOG(2) << text;
    throw std::runtime_error(text);
}

DownloadResult FileDownloader::getLastResult() const {
    return impl_->lastResult.get();
}

void FileDownloader::setProgressCallback(ProgressCallback callback) {
    impl_->progress.lock()->swap(callback); // the previous one is destroyed without the lock
}

} // namespace http
