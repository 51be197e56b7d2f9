// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/FileDownloadHandler.h"

#include "JobHandlers/FileFromNode.h"
#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"
#include "logger/Logger.h"
#include "text/Quote.h"

#include <stdexcept>
#include <utility>

namespace ovo {

FileDownloadHandler::FileDownloadHandler(
    ProvisioningNode& jobNode, std::shared_ptr<propertyapi::IPropertyApi> store,
    const std::shared_ptr<phoneconfig::IPhoneConfig>& configuration, const http::UrlInfo& server,
    RunReport& runReport)
    : JobHandler(jobNode, std::move(store), runReport)
    , phoneConfig(configuration)
    , serverAddress(server) {
    name = "FileDownloadHandler";
}

ProvisioningContext FileDownloadHandler::runImpl() {
    if (node.children.empty())
        return ProvisioningContext(ProvisioningStatus::Fail);
    ProvisioningContext result;
    for (const ProvisioningNode::Attributes child : node.children) {
        if (report.isCancelled())
            return ProvisioningContext(ProvisioningStatus::Fail);
        LOG(1) << "Running FileDownloadHandlerJob on: " << node;
        try {
            validateNode(child);
            queue(child, result);
        } catch (const std::exception& exception) {
            LOG(3) << exception.what();
            report.failed(Utils::causeOf(exception));
            result.updateStatus(ProvisioningStatus::Fail);
        }
    }
    return result;
}

void FileDownloadHandler::queue(const ProvisioningNode::Attributes& child,
                                ProvisioningContext& result) {
    const ProvisioningFileContext file =
        getFileFromNode(child, node.name, serverAddress, *propertyApi, *phoneConfig);
    LOG(1) << "New provisioning file: " << file.url.getUrl();
    result.push(file);
}

bool FileDownloadHandler::validateNode(const ProvisioningNode::Attributes& child) {
    if (node.type != XMLParser::PROVISIONING_CATEGORY_STR)
        return false;
    const std::string type(child.at(XMLParser::PROVISIONING_CATEGORY_ATTR_TYPE_STR));
    for (const char* accepted : XMLParser::CATEGORIES)
        if (type == accepted)
            return true;
    LOG(2) << "Attribute " << quote(XMLParser::PROVISIONING_CATEGORY_ATTR_TYPE_STR) << " of "
           << quote(node.type) << " is " << Utils::shortQuote(type) << ", which is not a category";
    const std::string fault = "Node " + node.type + " failed to validate";
    report.failed(fault + ": " + quote(XMLParser::PROVISIONING_CATEGORY_ATTR_TYPE_STR) + " is " +
                  Utils::shortQuote(type) + ", which is not a category");
    throw std::runtime_error(fault);
}

} // namespace ovo
