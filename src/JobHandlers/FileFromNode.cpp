// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/FileFromNode.h"

#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"
#include "http/formatPath.h"

#include <stdexcept>

namespace ovo {

http::UrlInfo getUrlFromNode(const ProvisioningNode::Attributes& child,
                             const http::UrlInfo& serverAddress) {
    const std::string url(child.at(XMLParser::DOWNLOADABLE_FILE_ATTR_URL_STR));
    if (url.empty())
        throw std::runtime_error("Empty url attribute.");
    return Utils::prependServerAddressToRelativeURL(url, serverAddress.getAbsolutePath());
}

ProvisioningFileContext getFileFromNode(const ProvisioningNode::Attributes& child,
                                        const std::string& nodeName,
                                        const http::UrlInfo& serverAddress,
                                        const propertyapi::IPropertyApi& propertyApi,
                                        const phoneconfig::IPhoneConfig& phoneConfig) {
    ProvisioningFileContext file;
    file.serverAddress = serverAddress;
    file.url = getUrlFromNode(child, serverAddress);
    file.path = http::formatPath(Utils::constructXMLPath(nodeName, file.url.fileName), propertyApi,
                                 phoneConfig);
    return file;
}

} // namespace ovo
