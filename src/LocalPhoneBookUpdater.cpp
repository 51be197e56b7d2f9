// SPDX-License-Identifier: Apache-2.0
#include "LocalPhoneBookUpdater.h"

#include "Directories.h"
#include "filesystem/Filesystem.h"
#include "logger/Logger.h"

namespace ovo {

namespace {

constexpr unsigned int CONTACTS_DIRECTORY_MODE = 0775;
constexpr char FILE_NAME[] = "State.LocalDirectoryUpdate.FileName";
constexpr char VERIFY[] = "State.LocalDirectoryUpdate.Verify";

} // namespace

LocalPhoneBookUpdater::LocalPhoneBookUpdater(
    const propertyapi::IPropertyApi& store,
    const std::shared_ptr<http::IFileDownloader>& downloader)
    : propertyApi(store), fileDownloader(downloader) {}

void LocalPhoneBookUpdater::setUrl(const http::UrlInfo& newUrl) {
    const std::lock_guard lock(urlMutex);
    url = newUrl;
}

bool LocalPhoneBookUpdater::update() {
    std::string cause;
    return update(cause);
}

bool LocalPhoneBookUpdater::update(std::string& cause) {
    http::UrlInfo source;
    {
        const std::lock_guard lock(urlMutex);
        source = url;
    }
    LOG(1) << "Downloading PhoneBook from URL: " << source.getUrl();
    try {
        if (!filesystem::doesDirectoryExist(Directories::CONTACTS))
            filesystem::makeDirectory(Directories::CONTACTS, CONTACTS_DIRECTORY_MODE);
        fileDownloader->download(source, Directories::CONTACTS + source.fileName,
                                 http::Access::Everyone);
        // The request makes the directory service read the name, so the name goes first.
        propertyApi.setValue(FILE_NAME, source.fileName);
        propertyApi.setValue(VERIFY, "request");
        return true;
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
        cause = exception.what();
        return false;
    }
}

} // namespace ovo
