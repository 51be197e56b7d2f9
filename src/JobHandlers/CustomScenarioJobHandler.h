// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/JobHandler.h"
#include "LocalPhoneBookUpdater.h"
#include "http/IFileDownloader.h"
#include "http/ISecurity.h"
#include "http/UrlInfo.h"
#include "ipc/IIPCPublisher.h"
#include "phoneconfig/IPhoneConfig.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace ovo {

/// Runs the steps of a scenario, each a set of attributes whose "type" says what it does: trusted
/// certificate, client certificate and key, redirect, wallpaper, local phone book, unlocking of
/// function keys. A step that fails stops none of the others.
class CustomScenarioJobHandler : public JobHandler {
public:
    using Step = ProvisioningNode::Attributes;

    /// The references outlive the handler.
    CustomScenarioJobHandler(ProvisioningNode& node,
                             std::shared_ptr<propertyapi::IPropertyApi> propertyApi,
                             const std::shared_ptr<phoneconfig::IPhoneConfig>& configuration,
                             std::shared_ptr<http::IFileDownloader> downloader,
                             std::shared_ptr<http::ISecurity> securityService,
                             const http::UrlInfo& server, ipc::IIPCPublisher& busPublisher,
                             LocalPhoneBookUpdater& phoneBookUpdater, RunReport& runReport);
    ~CustomScenarioJobHandler() override = default;

    ProvisioningContext runImpl() override;

    // Steps: true when the step succeeded. An exception counts as a failed step.

    /// "certificate": a trusted certificate, fetched and announced.
    bool downloadCertificate(const Step& step);
    /// "Clientcertificate": fetched, and installed when it is valid.
    bool downloadClientCertificate(const Step& step);
    /// "Clientkey": fetched, and installed with its password when it is valid.
    bool downloadPrivateKey(const Step& step);
    /// "Redirect": queues a further provisioning file.
    bool redirect(const Step& step);
    /// "DownloadWallpaper": an image for the user interface.
    bool downloadWallpaper(const Step& step);
    /// "LocalPhoneBook": sets URL and renewal period and updates the phone book at once.
    bool downloadLocalPhoneBook(const Step& step) const;
    /// "UnlockAllFunctionKeys": clears the provisioning lock of the eight function keys.
    bool unlockFunctionKeys(const Step& step) const;

private:
    using StepHandler = std::function<bool(CustomScenarioJobHandler&, const Step&)>;

    template <typename Work>
    bool attempt(Work work);
    bool executeStep(const Step& step);
    bool fetch(const http::UrlInfo& url, const std::string& path);
    http::UrlInfo getUrl(const Step& step) const;
    std::string getCertificateFlags(const Step& step) const;
    std::string getPassword(const Step& step) const;
    bool applyCertificate(const std::string& certificateName, const std::string& path,
                          bool forceAccept);
    void publishCertificatesUpdate(const std::string& operation,
                                   const std::string& certificateName);
    void notifyCertChanged();

    std::map<std::string, StepHandler> stepHandlers;
    std::shared_ptr<http::IFileDownloader> fileDownloader;
    std::shared_ptr<http::ISecurity> security;
    std::shared_ptr<phoneconfig::IPhoneConfig> phoneConfig;
    LocalPhoneBookUpdater& localPhoneBookUpdater;
    ipc::IIPCPublisher& publisher;
    http::UrlInfo serverAddress;
    ProvisioningContext context;
};

} // namespace ovo
