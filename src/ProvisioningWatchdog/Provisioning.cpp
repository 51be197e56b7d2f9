// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/Provisioning.h"

#include "Vocabulary.h"
#include "filesystem/Filesystem.h"
#include "http/formatPath.h"
#include "logger/Logger.h"
#include "xml/Xml.h"

#include <cstdint>

namespace ovo {

namespace {

/// Bytes by which a file may exceed the largest document: encryption adds some, and a document that
/// is slightly too large is to be refused by the parser, with its own message.
constexpr std::uint64_t ENCRYPTION_ROOM = 64ULL << 10U;
constexpr std::uint64_t LARGEST_DOWNLOAD = common::xml::MAX_BYTES + ENCRYPTION_ROOM;

} // namespace

Provisioning::Provisioning(http::IFileDownloader& downloader, const IJobHandlerBuilder& builder,
                           const propertyapi::IPropertyApi& store,
                           const phoneconfig::IPhoneConfig& configuration,
                           IProvisioningFileParser& fileParser, http::IDecrypter& fileDecrypter,
                           RunReport& runReport)
    : fileDownloader(downloader)
    , jobHandlerBuilder(builder)
    , propertyApi(store)
    , phoneConfig(configuration)
    , parser(fileParser)
    , decrypter(fileDecrypter)
    , report(runReport) {}

ProvisioningContext Provisioning::execute(const ProvisioningFileContext& file) {
    if (report.isCancelled())
        return ProvisioningContext(ProvisioningStatus::Fail);
    setContext(file);
    ProvisioningContext context = fetchAndApply();
    report.fileEnds(context.status());
    return context;
}

ProvisioningContext Provisioning::fetchAndApply() {
    if (!download())
        return ProvisioningContext(ProvisioningStatus::Fail);
    std::vector<ProvisioningNode> nodes = parse();
    if (nodes.empty())
        return ProvisioningContext(ProvisioningStatus::Fail);
    return apply(nodes);
}

void Provisioning::setContext(const ProvisioningFileContext& file) {
    currentFile = file;
    const std::string mac = propertyApi.getValue(keys::MAC_ADDRESS);
    const std::string majorId = phoneConfig.getValue(configuration::MAJOR_ID);
    const std::string minorId = phoneConfig.getValue(configuration::MINOR_ID);
    currentFile.url =
        http::UrlInfo(http::formatPath(currentFile.url.getUrl(), mac, majorId, minorId));
    currentFile.path = http::formatPath(currentFile.path, mac, majorId, minorId);
    report.fileBegins(currentFile.url);
}

bool Provisioning::download() {
    try {
        LOG(1) << "Provisioning XML from: " << currentFile.url.getUrl()
               << " to: " << currentFile.path;
        const http::DownloadResult result = fileDownloader.download(
            currentFile.url, currentFile.path, http::Access::OwnerOnly, LARGEST_DOWNLOAD);
        report.fileFetched(result.httpStatus(), result.bytes());
        if (result.serverAddress())
            currentFile.serverAddress = *result.serverAddress();
        return result.downloaded();
    } catch (const std::exception& exception) {
        // The downloader has written why.
        LOG(1) << "Download failed.";
        report.fileFetched(fileDownloader.getLastResult().httpStatus(), 0);
        report.failed(exception.what());
        return false;
    }
}

void Provisioning::decrypt(const std::string& path) {
    LOG(1) << "Verification of file: " << path;
    try {
        filesystem::write(path, decrypter.decrypt(path));
    } catch (const std::exception& exception) {
        LOG(3) << "Decryption failed: " << exception.what();
        report.suspect(exception.what());
    }
}

std::vector<ProvisioningNode> Provisioning::parse() {
    std::vector<ProvisioningNode> nodes;
    decrypt(currentFile.path);
    try {
        parser.parse(currentFile.path, nodes);
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
        report.failed(exception.what());
        nodes.clear();
    }
    return nodes;
}

ProvisioningContext Provisioning::run(ProvisioningNode& node) {
    report.jobBegins(node.name);
    const auto handler = jobHandlerBuilder.makeJobHandler(node, currentFile.serverAddress);
    report.jobIs(handler->getName());
    ProvisioningContext context = handler->run();
    report.jobEnds(context.status());
    return context;
}

ProvisioningContext Provisioning::apply(std::vector<ProvisioningNode>& nodes) {
    LOG(1) << "Found " << nodes.size() << " valid provisioning job/s. ";
    ProvisioningContext context;
    for (ProvisioningNode& node : nodes) {
        if (report.isCancelled()) {
            context.updateStatus(ProvisioningStatus::Fail);
            break;
        }
        if (node.children.empty()) {
            LOG(1) << "Node: " << node.name << " has no child nodes, skipping";
            continue;
        }
        context.absorb(run(node));
    }
    return context;
}

} // namespace ovo
