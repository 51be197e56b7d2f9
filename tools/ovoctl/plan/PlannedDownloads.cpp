// SPDX-License-Identifier: Apache-2.0
#include "PlannedDownloads.h"

#include "Directories.h"
#include "filesystem/Filesystem.h"
#include "text/Quote.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace ovoctl {

namespace {

constexpr int OK = 200;

/// Nothing of the run reads what is fetched there.
bool isForOthers(const std::string& path) {
    const std::array<const std::string*, 3> directories = {&ovo::Directories::FIRMWARE_UPDATES,
                                                           &ovo::Directories::WALLPAPERS,
                                                           &ovo::Directories::CONTACTS};
    return std::any_of(directories.begin(), directories.end(),
                       [&](const std::string* directory) { return path.starts_with(*directory); });
}

} // namespace

PlannedDownloads::PlannedDownloads(std::unique_ptr<http::IFileDownloader> downloader,
                                   std::shared_ptr<SizeProbe> probe, PlanRecorder& recorder,
                                   Start start, std::size_t mostFiles,
                                   std::function<void()> onTooMany)
    : downloader_(std::move(downloader))
    , probe_(std::move(probe))
    , recorder_(recorder)
    , start_(std::move(start))
    , mostFiles_(mostFiles)
    , onTooMany_(std::move(onTooMany)) {}

void PlannedDownloads::setProgressCallback(ProgressCallback callback) {
    downloader_->setProgressCallback(std::move(callback));
}

http::DownloadResult PlannedDownloads::download(const http::UrlInfo& url, const std::string& path,
                                                http::Access access, std::uint64_t maxBytes) {
    // Only a provisioning file has a limit of its own.
    if (maxBytes != NO_LIMIT)
        return fetchProvisioningFile(url, path, access, maxBytes);
    PlannedDownload record{withoutCredentials(url).getUrl(), path, 0, {}, false, {}};
    try {
        http::DownloadResult result = probeOrFetch(url, path, access);
        record.httpStatus = result.httpStatus();
        record.isFetched = !probe_->hasBrokenOff();
        record.bytes = record.isFetched ? result.bytes() : probe_->size();
        recorder_.download(std::move(record));
        return result;
    } catch (const std::exception& exception) {
        record.httpStatus = last_.httpStatus();
        record.cause = exception.what();
        recorder_.download(std::move(record));
        throw;
    }
}

http::DownloadResult PlannedDownloads::probeOrFetch(const http::UrlInfo& url,
                                                    const std::string& path, http::Access access) {
    probe_->limitTo(isForOthers(path) ? std::optional(SMALL) : std::nullopt);
    try {
        return fetch(url, path, access, NO_LIMIT);
    } catch (const std::exception&) {
        if (!probe_->hasBrokenOff())
            throw;
        last_ = {true, OK, withoutCredentials(url), probe_->size().value_or(0)};
        return last_;
    }
}

http::DownloadResult PlannedDownloads::fetchProvisioningFile(const http::UrlInfo& url,
                                                             const std::string& path,
                                                             http::Access access,
                                                             std::uint64_t maxBytes) {
    if (files_ == mostFiles_) {
        onTooMany_();
        throw std::runtime_error("not planned any further");
    }
    if (++files_ == 1 && start_.content)
        return copyStart(url, path, maxBytes);
    probe_->limitTo(std::nullopt);
    return fetch(url, path, access, maxBytes);
}

http::DownloadResult PlannedDownloads::copyStart(const http::UrlInfo& url, const std::string& path,
                                                 std::uint64_t maxBytes) {
    last_ = {};
    if (start_.content->size() > maxBytes)
        throw std::runtime_error("the file is larger than " + std::to_string(maxBytes) + " bytes");
    filesystem::write(path, *start_.content);
    last_ = {true, OK, withoutCredentials(url), start_.content->size()};
    start_.content->clear();
    start_.content->shrink_to_fit();
    return last_;
}

http::DownloadResult PlannedDownloads::fetch(const http::UrlInfo& url, const std::string& path,
                                             http::Access access, std::uint64_t maxBytes) {
    last_ = {};
    requireRealAddress(url);
    try {
        last_ = downloader_->download(url, path, access, maxBytes);
        return last_;
    } catch (const std::exception&) {
        last_ = downloader_->getLastResult();
        throw;
    }
}

void PlannedDownloads::requireRealAddress(const http::UrlInfo& url) const {
    const std::string text = url.getUrl();
    if (start_.madeUpDirectory.empty() || !text.starts_with(start_.madeUpDirectory))
        return;
    throw std::runtime_error("URL " + quote(text.substr(start_.madeUpDirectory.size() - 1)) +
                             " is relative to a local file: --base has to say at which URL that "
                             "will lie");
}

} // namespace ovoctl
