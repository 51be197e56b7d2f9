// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/IJobHandlerBuilder.h"
#include "JobHandlers/IProvisioningFileParser.h"
#include "ProvisioningNode.h"
#include "ProvisioningWatchdog/IProvisioning.h"
#include "ProvisioningWatchdog/RunReport.h"
#include "http/IDecrypter.h"
#include "http/IFileDownloader.h"
#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <string>
#include <vector>

namespace ovo {

/// Runs one provisioning file: placeholder expansion, download, decryption, parsing, jobs. Lives
/// for one run, on the provisioning thread; the references outlive it. Once the run is cancelled,
/// no further file or job begins.
class Provisioning : public IProvisioning {
public:
    Provisioning(http::IFileDownloader& downloader, const IJobHandlerBuilder& builder,
                 const propertyapi::IPropertyApi& store,
                 const phoneconfig::IPhoneConfig& configuration,
                 IProvisioningFileParser& fileParser, http::IDecrypter& fileDecrypter,
                 RunReport& runReport);

    ProvisioningContext execute(const ProvisioningFileContext& file) override;

    /// Makes a file the current one and expands the placeholders in its URL and path.
    void setContext(const ProvisioningFileContext& file);
    /// Fetches the current file; false when that failed.
    bool download();
    /// Decrypts a file in place. One that cannot be decrypted is left as it is.
    void decrypt(const std::string& path);
    /// Decrypts, parses and checks the current file; no nodes when that failed.
    std::vector<ProvisioningNode> parse();
    /// Runs one job per node.
    ProvisioningContext apply(std::vector<ProvisioningNode>& nodes);

private:
    ProvisioningContext fetchAndApply();
    ProvisioningContext run(ProvisioningNode& node);

    ProvisioningFileContext currentFile;
    http::IFileDownloader& fileDownloader;
    const IJobHandlerBuilder& jobHandlerBuilder;
    const propertyapi::IPropertyApi& propertyApi;
    const phoneconfig::IPhoneConfig& phoneConfig;
    IProvisioningFileParser& parser;
    http::IDecrypter& decrypter;
    RunReport& report;
};

} // namespace ovo
