// SPDX-License-Identifier: Apache-2.0
#include "StoreServiceTable.h"

#include "filesystem/Filesystem.h"
#include "paths/Paths.h"
#include "xml/Xml.h"

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace simulator {

namespace {

constexpr const char* UPDATE_SERVICE = "update-service";
constexpr const char* DIRECTORY_SERVICE = "directory-service";
constexpr const char* IMAGES = "/config/swupdate/";
constexpr const char* CONTACTS = "/var/volatile/contacts/";

/// Size of an image, which may be too large to be read.
std::uintmax_t sizeOf(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(paths::toHost(path).text(), error);
    if (error)
        throw std::runtime_error("no image " + path + ": " + error.message());
    return size;
}

std::string imagePath(const propertyapi::IPropertyApi& store) {
    return IMAGES + store.getValue("State.FirmwareUpdate.Filename");
}

Outcome verifyImage(const propertyapi::IPropertyApi& store, bool refuses) {
    const std::string path = imagePath(store);
    const std::uintmax_t size = sizeOf(path);
    if (refuses)
        return {"fail", "refuses " + path};
    if (size == 0)
        return {"fail", path + " is empty"};
    return {"success", path + ", " + std::to_string(size) + " bytes, is good"};
}

Outcome installImage(const propertyapi::IPropertyApi& store, bool refuses) {
    const std::string path = imagePath(store);
    if (refuses)
        return {"fail", "does not install " + path};
    return {"success", "installs " + path};
}

Outcome checkPhoneBook(const propertyapi::IPropertyApi& store) {
    const std::string path = CONTACTS + store.getValue("State.LocalDirectoryUpdate.FileName");
    const common::xml::Document book = common::xml::parse(filesystem::read(path));
    std::size_t entries = 0;
    for ([[maybe_unused]] const common::xml::Node entry : book.root())
        ++entries;
    return {"success", path + " has " + std::to_string(entries) + " entries"};
}

} // namespace

std::vector<StoreServiceDescription> storeServiceTable(bool refusesFirmware) {
    using Store = propertyapi::IPropertyApi;
    return {
        {UPDATE_SERVICE, "State.FirmwareUpdate.Verify",
         [refusesFirmware](const Store& store) {
             return verifyImage(store, refusesFirmware);
         }},
        {UPDATE_SERVICE, "State.FirmwareUpdate.UpdateSystem",
         [refusesFirmware](const Store& store) {
             return installImage(store, refusesFirmware);
         }},
        {DIRECTORY_SERVICE, "State.LocalDirectoryUpdate.Verify", checkPhoneBook},
    };
}

} // namespace simulator
