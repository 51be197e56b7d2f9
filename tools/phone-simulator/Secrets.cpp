// SPDX-License-Identifier: Apache-2.0
#include "Secrets.h"

#include "http/UrlInfo.h"

#include <algorithm>
#include <cctype>

namespace simulator::secrets {

namespace {

bool isSecret(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char character) { return std::tolower(character); });
    return name.find("password") != std::string::npos;
}

Json::Value maskedText(bool isHidden, const std::string& text) {
    if (isHidden)
        return text.empty() ? "" : "***";
    return http::withoutCredentials(text);
}

Json::Value mask(bool isHidden, const Json::Value& value) {
    if (value.isString())
        return maskedText(isHidden, value.asString());
    Json::Value result = value;
    if (value.isObject()) {
        for (const std::string& name : value.getMemberNames())
            result[name] = mask(isHidden || isSecret(name), value[name]);
    } else if (value.isArray()) {
        for (Json::Value& element : result)
            element = mask(isHidden, element);
    } else if (isHidden && !value.isNull()) {
        result = "***";
    }
    return result;
}

} // namespace

Json::Value masked(const std::string& name, const Json::Value& value) {
    // A message's name says nothing about its parameters.
    return mask(!value.isObject() && isSecret(name), value);
}

} // namespace simulator::secrets
