// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/JobHandler.h"
#include "http/IFileDownloader.h"
#include "http/UrlInfo.h"
#include "phoneconfig/IPhoneConfig.h"

#include <memory>
#include <string>
#include <vector>

namespace ovo {

/// Decides whether the offered firmware may be installed, downloads it and asks the update service,
/// through state properties, to verify and install it.
class FirmwareJobHandler : public JobHandler {
public:
    FirmwareJobHandler(ProvisioningNode& node,
                       std::shared_ptr<propertyapi::IPropertyApi> propertyApi,
                       const std::shared_ptr<phoneconfig::IPhoneConfig>& configuration,
                       std::shared_ptr<http::IFileDownloader> downloader,
                       const http::UrlInfo& server, RunReport& runReport);
    ~FirmwareJobHandler() override = default;

    ProvisioningContext runImpl() override;
    /// URL text of the image to install; empty for none.
    virtual std::string getVersion() const;

    ProvisioningStatus downloadFirmware(const std::string& url);
    bool isNewFirmwareVersionUpgradeable(const std::string& version) const;
    /// The phone looks for updates by itself.
    bool isAutoUpdateOn() const;
    /// The update service asked for this run.
    bool isTriggeredAutoUpdate() const;
    /// The file allows a downgrade.
    bool isForceAcceptEnabled() const;
    /// Tells the update service how the run that it asked for ended.
    void setTriggeredUpdateStatus(const ProvisioningStatus& status);

    /// True when the text holds a device placeholder.
    static bool hasWildcard(const std::string& text);
    /// Text after the last "/".
    static std::string extractFilename(const std::string& path);

private:
    ProvisioningStatus updateFirmware();
    std::string offeredVersion() const;

    static const std::vector<std::string> wildcardList;

    std::shared_ptr<http::IFileDownloader> fileDownloader;
    std::shared_ptr<phoneconfig::IPhoneConfig> phoneConfig;
    bool triggeredAutoUpdate = false;
    bool forceAccept = false;
    http::UrlInfo serverAddress;
};

} // namespace ovo
