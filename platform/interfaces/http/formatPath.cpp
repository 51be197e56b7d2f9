// SPDX-License-Identifier: Apache-2.0
#include "http/formatPath.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace http {

namespace {

/// The MAC address with another separator; its digits stay as they are.
std::string separated(std::string mac, char separator) {
    for (char& character : mac) {
        if (character == ':' || character == '-')
            character = separator;
    }
    return mac;
}

} // namespace

std::string formatPath(const std::string& text, const std::string& mac, const std::string& majorId,
                       const std::string& minorId) {
    const std::array<std::pair<std::string_view, std::string>, 3> placeholders = {{
        {"%MACC", separated(mac, ':')},
        {"%MACD", separated(mac, '-')},
        {"%DVID", minorId.empty() ? majorId : majorId + "-" + minorId},
    }};
    std::string result;
    for (std::size_t position = 0; position < text.size();) {
        const auto* const found =
            std::find_if(placeholders.begin(), placeholders.end(), [&](const auto& placeholder) {
                return text.compare(position, placeholder.first.size(), placeholder.first) == 0;
            });
        if (found == placeholders.end()) {
            result += text[position];
            ++position;
        } else {
            result += found->second;
            position += found->first.size();
        }
    }
    return result;
}

std::string formatPath(const std::string& text, const propertyapi::IPropertyApi& propertyApi,
                       const phoneconfig::IPhoneConfig& phoneConfig) {
    return formatPath(text, propertyApi.getValue("NET.MAC.Address"),
                      phoneConfig.getValue("networking.provisioning.MajorId"),
                      phoneConfig.getValue("networking.provisioning.MinorId"));
}

} // namespace http
