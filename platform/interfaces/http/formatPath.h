// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <string>

namespace http {

/// Expands the device placeholders in a URL or path: %MACC the MAC address with colons, %MACD with
/// dashes, %DVID the major ID, then, where a minor ID is set, "-" and the minor ID. Anything else
/// that begins with "%" stays. Each placeholder is expanded once; what it expands to is not read
/// again.
std::string formatPath(const std::string& text, const std::string& mac, const std::string& majorId,
                       const std::string& minorId);

/// The same with the phone's own MAC address and IDs. Errors of the property store pass through.
std::string formatPath(const std::string& text, const propertyapi::IPropertyApi& propertyApi,
                       const phoneconfig::IPhoneConfig& phoneConfig);

} // namespace http
