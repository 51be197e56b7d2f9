// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/FirmwareJobHandler.h"

#include "Directories.h"
#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"
#include "Vocabulary.h"
#include "firmware/HaldenFirmwareVersion.h"
#include "http/formatPath.h"
#include "logger/Logger.h"
#include "os/Execute.h"
#include "text/Quote.h"

#include <algorithm>
#include <utility>

namespace ovo {

namespace {

constexpr unsigned int CLEANUP_TIMEOUT_MS = 10000;

bool readsAs(const propertyapi::IPropertyApi& propertyApi, const char* key, const char* value) {
    try {
        return propertyApi.getValue(key) == value;
    } catch (const std::exception& exception) {
        LOG(1) << exception.what();
        return false;
    }
}

/// Why a version is not installed, for each outcome of the comparison.
std::string refusalOf(const std::string& candidate, const std::string& current, int comparison) {
    using version::HaldenFirmwareVersion;
    switch (comparison) {
    case HaldenFirmwareVersion::OLDER:
        return quote(candidate, current, "is older than");
    case HaldenFirmwareVersion::EQUAL:
        return quote(candidate, current, "is equal to");
    case HaldenFirmwareVersion::INVALID:
        return "New firmware version" + quote(candidate) + "is invalid!";
    case HaldenFirmwareVersion::NOT_UPGRADEABLE:
        return "Current version is not upgradeable to:" + quote(candidate);
    default:
        return "Unrecognized firmware version status: " + std::to_string(comparison);
    }
}

} // namespace

const std::vector<std::string> FirmwareJobHandler::wildcardList = {"%DVID", "%MACC", "%MACD"};

FirmwareJobHandler::FirmwareJobHandler(
    ProvisioningNode& jobNode, std::shared_ptr<propertyapi::IPropertyApi> store,
    const std::shared_ptr<phoneconfig::IPhoneConfig>& configuration,
    std::shared_ptr<http::IFileDownloader> downloader, const http::UrlInfo& server,
    RunReport& runReport)
    : JobHandler(jobNode, std::move(store), runReport)
    , fileDownloader(std::move(downloader))
    , phoneConfig(configuration)
    , serverAddress(server) {
    name = "FirmwareJobHandler";
}

ProvisioningContext FirmwareJobHandler::runImpl() {
    auto status = ProvisioningStatus::Fail;
    triggeredAutoUpdate = isTriggeredAutoUpdate();
    forceAccept = isForceAcceptEnabled();
    try {
        status = updateFirmware();
    } catch (const std::exception& exception) {
        LOG(3) << "Job handler failed with an exception: " << exception.what();
        report.failed(exception.what());
    }
    setTriggeredUpdateStatus(status);
    return ProvisioningContext(status);
}

ProvisioningStatus FirmwareJobHandler::updateFirmware() {
    if (!isAutoUpdateOn() && !triggeredAutoUpdate && !forceAccept) {
        LOG(2)
            << "Firmware skipped: automatic updates are off, nobody asked for an update, and the "
               "file does not force it";
        report.firmware({}, offeredVersion(),
                        "skipped: automatic updates are off, nobody asked for an update, and the "
                        "file does not force it");
        return ProvisioningStatus::Success;
    }
    const std::string url = getVersion();
    if (url.empty()) {
        LOG(2) << "No newer versions found, finishing job";
        return ProvisioningStatus::Fail;
    }
    os::execute(Files::FIRMWARE_CLEANUP, CLEANUP_TIMEOUT_MS);
    return downloadFirmware(url);
}

std::string FirmwareJobHandler::getVersion() const {
    if (node.children.size() != 1) {
        LOG(2) << "Multiple firmware version entries are not supported!";
        report.failed("multiple firmware version entries are not supported");
        report.firmware({}, offeredVersion(),
                        "refused: multiple firmware version entries are not supported");
        return {};
    }
    const ProvisioningNode::Attributes file = node.children[0];
    const std::string version(file.at(XMLParser::FIRMWARE_FILE_ATTR_VERSION_STR));
    if (!isNewFirmwareVersionUpgradeable(version))
        return {};
    std::string url(file.at(XMLParser::FIRMWARE_FILE_ATTR_URL_STR));
    LOG(1) << "Found upgradable version: " << version << " url: " << url;
    return url;
}

/// Of the first entry; empty where it has none.
std::string FirmwareJobHandler::offeredVersion() const {
    if (node.children.empty())
        return {};
    return std::string(
        node.children[0].find(XMLParser::FIRMWARE_FILE_ATTR_VERSION_STR).value_or(""));
}

bool FirmwareJobHandler::isNewFirmwareVersionUpgradeable(const std::string& version) const {
    using version::HaldenFirmwareVersion;
    const HaldenFirmwareVersion current;
    const HaldenFirmwareVersion candidate(version);
    const int comparison = current.compare(candidate);
    const auto decide = [&](const std::string& decision) {
        report.firmware(current.getVersion(), candidate.getVersion(), decision);
    };
    if (comparison == HaldenFirmwareVersion::NEWER) {
        decide("accepted: newer");
        return true;
    }
    if (comparison == HaldenFirmwareVersion::OLDER && forceAccept && !triggeredAutoUpdate) {
        decide("accepted: older, but the file forces it");
        return true;
    }
    const std::string why = refusalOf(candidate.getVersion(), current.getVersion(), comparison);
    decide("refused: " + why);
    LOG(3) << why;
    report.failed("firmware: " + why);
    return false;
}

ProvisioningStatus FirmwareJobHandler::downloadFirmware(const std::string& url) {
    try {
        const http::UrlInfo firmwareUrl =
            Utils::prependServerAddressToRelativeURL(url, serverAddress.getAbsolutePath());
        const std::string localPath = http::formatPath(
            Directories::FIRMWARE_UPDATES + firmwareUrl.fileName, *propertyApi, *phoneConfig);
        fileDownloader->download(firmwareUrl, localPath, http::Access::Everyone);
        propertyApi->setValue(keys::FIRMWARE_FILE_NAME, firmwareUrl.fileName);
        propertyApi->setValue(keys::FIRMWARE_VERIFY, values::REQUEST);
        // The service that triggered an automatic update installs it itself.
        if (!triggeredAutoUpdate)
            propertyApi->setValue(keys::FIRMWARE_UPDATE_SYSTEM, values::REQUEST);
        return ProvisioningStatus::Success;
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
        report.failed(Utils::causeOf(exception));
        return ProvisioningStatus::Fail;
    }
}

bool FirmwareJobHandler::isAutoUpdateOn() const {
    return readsAs(*propertyApi, keys::FIRMWARE_AUTOMATIC_CHECK, values::ON);
}

bool FirmwareJobHandler::isTriggeredAutoUpdate() const {
    return readsAs(*propertyApi, keys::FIRMWARE_TRIGGER_AUTO, values::REQUEST);
}

bool FirmwareJobHandler::isForceAcceptEnabled() const {
    return std::any_of(node.children.begin(), node.children.end(),
                       [](const ProvisioningNode::Attributes& file) {
                           return file.find(XMLParser::NVM_SETTINGS_PARAM_ATTR_FLAGS_STR) ==
                                  XMLParser::FORCE_ACCEPT_STR;
                       });
}

void FirmwareJobHandler::setTriggeredUpdateStatus(const ProvisioningStatus& status) {
    if (!triggeredAutoUpdate)
        return;
    try {
        propertyApi->setValue(keys::FIRMWARE_TRIGGER_AUTO, status == ProvisioningStatus::Success
                                                               ? values::SUCCESS
                                                               : values::NO_VERSION);
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
    }
}

bool FirmwareJobHandler::hasWildcard(const std::string& text) {
    return std::any_of(wildcardList.begin(), wildcardList.end(), [&](const std::string& wildcard) {
        return text.find(wildcard) != std::string::npos;
    });
}

std::string FirmwareJobHandler::extractFilename(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

} // namespace ovo
