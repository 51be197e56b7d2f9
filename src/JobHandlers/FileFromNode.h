// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningFileContext.h"
#include "ProvisioningNode.h"
#include "http/UrlInfo.h"
#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <string>

namespace ovo {

/// The URL named by the attribute "url" of one child of a node, resolved against the directory of
/// the server address. Throws std::out_of_range when there is no such attribute, std::runtime_error
/// "Empty url attribute." and http::UrlException.
http::UrlInfo getUrlFromNode(const ProvisioningNode::Attributes& child,
                             const http::UrlInfo& serverAddress);

/// The further provisioning file that one child of a node names by its attribute "url", with the
/// path where it is stored for a node of that name. Throws the exceptions of getUrlFromNode(), and
/// propertyapi::PropertyApiException.
ProvisioningFileContext getFileFromNode(const ProvisioningNode::Attributes& child,
                                        const std::string& nodeName,
                                        const http::UrlInfo& serverAddress,
                                        const propertyapi::IPropertyApi& propertyApi,
                                        const phoneconfig::IPhoneConfig& phoneConfig);

} // namespace ovo
