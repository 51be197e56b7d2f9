#include "ProvisioningWatchdog/Provisioning.h"

#include "filesystem/Filesystem.h"
#include "http/formatPath.h"
#include "logger/Logger.h"

namespace ovo {

Provisioning::Provisioning(http::IFileDownloader& fileDownloader,
                           const IJobHandlerBuilder& jobHandlerBuilder,
                           const propertyapi::IPropertyApi& propertyApi,
                           const phoneconfig::IPhoneConfig& phoneConfig,
                           IProvisioningFileParser& parser, http::IDecrypter& decrypter)
    : fileDownloader_(fileDownloader)
    , jobHandlerBuilder_(jobHandlerBuilder)
    , propertyApi_(propertyApi)
    , phoneConfig_(phoneConfig)
    , parser_(parser)
    , decrypter_(decrypter) {}

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
    file_ = file;
    const std::string mac = propertyApi_.getValue("NET.MAC.Address");
    const std::string majorId = phoneConfig_.getValue("networking.provisioning.MajorId");
    const std::string minorId = phoneConfig_.getValue("networking.provisioning.MinorId");
    file_.url = http::UrlInfo(http::formatPath(file_.url.getUrl(), mac, majorId, minorId));
    file_.path = http::formatPath(file_.path, mac, majorId, minorId);
}

bool Provisioning::download() {
    try {
        LOG(1) << "Provisioning XML from: " << file_.url.getUrl() << " to: " << file_.path;
        const http::DownloadResult result = fileDownloader_.download(file_.url, file_.path);
        if (result.serverAddress())
            file_.serverAddress = *result.serverAddress();
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
        filesystem::write(path, decrypter_.decrypt(path));
    } catch (const std::exception& exception) {
        LOG(3) << "Decryption failed: " << exception.what();
    }
}

std::vector<ProvisioningNode> Provisioning::parse() {
    std::vector<ProvisioningNode> nodes;
    decrypt(file_.path);
    try {
        parser_.parse(file_.path, nodes);
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
        context.absorb(jobHandlerBuilder_.makeJobHandler(node, file_.serverAddress)->run());
    }
    return context;
}

} // namespace ovo
