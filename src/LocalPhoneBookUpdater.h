// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Guarded.h"
#include "http/IFileDownloader.h"
#include "http/UrlInfo.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>
#include <string>

namespace ovo {

/// Fetches the phone's local phone book and asks the directory service, through the property store,
/// to check it. One object for the whole program, used by runs and by the renewal timer. Both may
/// call update() at the same moment; each call then downloads for itself.
class LocalPhoneBookUpdater {
public:
    /// propertyApi outlives the updater.
    LocalPhoneBookUpdater(const propertyapi::IPropertyApi& store,
                          const std::shared_ptr<http::IFileDownloader>& downloader);

    /// The URL of all later updates.
    void setUrl(const http::UrlInfo& newUrl) { url.set(newUrl); }
    /// True when the phone book was fetched and announced; false after an error.
    bool update();
    /// The same; cause: receives the error in words.
    bool update(std::string& cause);

private:
    const propertyapi::IPropertyApi& propertyApi;
    std::shared_ptr<http::IFileDownloader> fileDownloader;
    common::Guarded<http::UrlInfo> url;
};

} // namespace ovo
