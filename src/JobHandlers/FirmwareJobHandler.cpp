// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/FirmwareJobHandler.h"

#include "Directories.h"
#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"
#include "firmware/HaldenFirmwareVersion.h"
#include "http/formatPath.h"
#include "logger/Logger.h"
#include "os/Execute.h"
#include "text/Quote.h"

#include <algorithm>
#include <utility>

namespace ovo {

namespace {

constexpr char AUTOMATIC_CHECK[] = "FirmwareManagment.AutomaticCheckForUpdates";
constexpr char TRIGGER_AUTO[] = "State.FirmwareUpdate.TriggerAuto";
constexpr char FILE_NAME[] = "State.FirmwareUpdate.Filename";
constexpr char VERIFY[] = "State.FirmwareUpdate.Verify";
constexpr char UPDATE_SYSTEM[] = "State.FirmwareUpdate.UpdateSystem";
constexpr char REQUEST[] = "request";

constexpr char CLEANUP_COMMAND[] = "/usr/sbin/firmware-update-cleanup.sh";
constexpr unsigned int CLEANUP_TIMEOUT_MS = 10000;

constexpr char FORCE_ACCEPT[] = "FORCE_ACCEPT";

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
        return ProvisioningStatus::Success;
    }
    const std::string url = getVersion();
    if (url.empty()) {
        LOG(2) << "No newer versions found, finishing job";
        return ProvisioningStatus::Fail;
    }
    os::execute(CLEANUP_COMMAND, CLEANUP_TIMEOUT_MS);
    return downloadFirmware(url);
}

std::string FirmwareJobHandler::getVersion() const {
    if (node.children.size() != 1) {
        LOG(2) << "Multiple firmware version entries are not supported!";
        report.failed("multiple firmware version entries are not supported");
        return {};
    }
    const ProvisioningNode::Attributes& file = node.children.front();
    const std::string& version = attributeOf(file, XMLParser::FIRMWARE_FILE_ATTR_VERSION_STR);
    if (!isNewFirmwareVersionUpgradeable(version))
        return {};
    const std::string& url = attributeOf(file, XMLParser::FIRMWARE_FILE_ATTR_URL_STR);
    LOG(1) << "Found upgradable version: " << version << " url: " << url;
    return url;
}

bool FirmwareJobHandler::isNewFirmwareVersionUpgradeable(const std::string& version) const {
    using version::HaldenFirmwareVersion;
    const HaldenFirmwareVersion current;
    const HaldenFirmwareVersion candidate(version);
    const int comparison = current.compare(candidate);
    if (comparison == HaldenFirmwareVersion::NEWER)
        return true;
    if (comparison == HaldenFirmwareVersion::OLDER && forceAccept && !triggeredAutoUpdate)
        return true;
    const std::string why = refusalOf(candidate.getVersion(), current.getVersion(), comparison);
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
        propertyApi->setValue(FILE_NAME, firmwareUrl.fileName);
        propertyApi->setValue(VERIFY, REQUEST);
        // What was triggered automatically is installed by its trigger.
        if (!triggeredAutoUpdate)
            propertyApi->setValue(UPDATE_SYSTEM, REQUEST);
        return ProvisioningStatus::Success;
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
        report.failed(exception.what());
        return ProvisioningStatus::Fail;
    }
}

bool FirmwareJobHandler::isAutoUpdateOn() const {
    return readsAs(*propertyApi, AUTOMATIC_CHECK, "1");
}

bool FirmwareJobHandler::isTriggeredAutoUpdate() const {
    return readsAs(*propertyApi, TRIGGER_AUTO, REQUEST);
}

bool FirmwareJobHandler::isForceAcceptEnabled() const {
    return std::any_of(
        node.children.begin(), node.children.end(), [](const ProvisioningNode::Attributes& file) {
            const auto flags = file.find(XMLParser::NVM_SETTINGS_PARAM_ATTR_FLAGS_STR);
            return flags != file.end() && flags->second == FORCE_ACCEPT;
        });
}

void FirmwareJobHandler::setTriggeredUpdateStatus(const ProvisioningStatus& status) {
    if (!triggeredAutoUpdate)
        return;
    try {
        propertyApi->setValue(TRIGGER_AUTO,
                              status == ProvisioningStatus::Success ? "success" : "no_version");
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
