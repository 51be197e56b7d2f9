#include "ProvisioningWatchdog/Provisioning.h"

#include "filesystem/Filesystem.h"
#include "http/formatPath.h"
#include "logger/Logger.h"

namespace ovo {

Provisioning::Provisioning(http::IFileDownloader& downloader, const IJobHandlerBuilder& builder,
                           const propertyapi::IPropertyApi& store,
                           const phoneconfig::IPhoneConfig& configuration,
                           IProvisioningFileParser& fileParser, http::IDecrypter& fileDecrypter)
    : fileDownloader(downloader)
    , jobHandlerBuilder(builder)
    , propertyApi(store)
    , phoneConfig(configuration)
    , parser(fileParser)
    , decrypter(fileDecrypter) {}

ProvisioningContext Provisioning::execute(const ProvisioningFileContext& file) {
    setContext(file);
    if (!download())
        return ProvisioningContext(ProvisioningStatus::Fail);
    std::vector<ProvisioningNode> nodes = parse();
    if (nodes.empty())
        return ProvisioningContext(ProvisioningStatus::Fail);
    return apply(nodes);
}

void Provisioning::setContext(const ProvisioningFileContext& file) {
    currentFile = file;
    const std::string mac = propertyApi.getValue("NET.MAC.Address");
    const std::string majorId = phoneConfig.getValue("networking.provisioning.MajorId");
    const std::string minorId = phoneConfig.getValue("networking.provisioning.MinorId");
    currentFile.url =
        http::UrlInfo(http::formatPath(currentFile.url.getUrl(), mac, majorId, minorId));
    currentFile.path = http::formatPath(currentFile.path, mac, majorId, minorId);
}

bool Provisioning::download() {
    try {
        LOG(1) << "Provisioning XML from: " << currentFile.url.getUrl()
               << " to: " << currentFile.path;
        const http::DownloadResult result =
            fileDownloader.download(currentFile.url, currentFile.path);
        if (result.serverAddress())
            currentFile.serverAddress = *result.serverAddress();
        return result.downloaded();
    } catch (const std::exception&) {
        // The downloader has said why.
        LOG(1) << "Download failed.";
        return false;
    }
}

void Provisioning::decrypt(const std::string& path) {
    LOG(1) << "Verification of file: " << path;
    try {
        filesystem::write(path, decrypter.decrypt(path));
    } catch (const std::exception& exception) {
        LOG(3) << "Decryption failed: " << exception.what();
    }
}

std::vector<ProvisioningNode> Provisioning::parse() {
    std::vector<ProvisioningNode> nodes;
    decrypt(currentFile.path);
    try {
        parser.parse(currentFile.path, nodes);
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
        nodes.clear();
    }
    return nodes;
}

ProvisioningContext Provisioning::apply(std::vector<ProvisioningNode>& nodes) {
    LOG(1) << "Found " << nodes.size() << " valid provisioning job/s. ";
    ProvisioningContext context;
    for (ProvisioningNode& node : nodes) {
        if (node.children.empty()) {
            LOG(1) << "Node: " << node.name << " has no child nodes, skipping";
            continue;
        }
        context.absorb(jobHandlerBuilder.makeJobHandler(node, currentFile.serverAddress)->run());
    }
    return context;
}

} // namespace ovo
