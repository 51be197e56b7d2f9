// SPDX-License-Identifier: Apache-2.0
#include "LocalPhoneBookUpdater.h"

#include "Directories.h"
#include "Vocabulary.h"
#include "filesystem/Filesystem.h"
#include "logger/Logger.h"

namespace ovo {

LocalPhoneBookUpdater::LocalPhoneBookUpdater(
    const propertyapi::IPropertyApi& store,
    const std::shared_ptr<http::IFileDownloader>& downloader)
    : propertyApi(store), fileDownloader(downloader) {}

bool LocalPhoneBookUpdater::update() {
    std::string cause;
    return update(cause);
}

bool LocalPhoneBookUpdater::update(std::string& cause) {
    const http::UrlInfo source = url.get();
    LOG(1) << "Downloading PhoneBook from URL: " << source.getUrl();
    try {
        if (!filesystem::doesDirectoryExist(Directories::CONTACTS))
            filesystem::makeDirectory(Directories::CONTACTS, Directories::MODE);
        fileDownloader->download(source, Directories::CONTACTS + source.fileName,
                                 http::Access::Everyone);
        // The request makes the directory service read the name, so the name goes first.
        propertyApi.setValue(keys::PHONE_BOOK_FILE_NAME, source.fileName);
        propertyApi.setValue(keys::PHONE_BOOK_VERIFY, values::REQUEST);
        return true;
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
        cause = exception.what();
        return false;
    }
}

} // namespace ovo
