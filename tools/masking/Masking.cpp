// SPDX-License-Identifier: Apache-2.0
#include "Masking.h"

#include "http/UrlInfo.h"
#include "text/Ascii.h"
#include "text/MaskedText.h"

#include <algorithm>
#include <array>

namespace masking {

namespace {

constexpr const char* HIDDEN = "***";
constexpr std::array<const char*, 2> SECRETS = {"password", "secret"};

bool isSecret(const std::string& name) {
    const std::string lower = ascii::lowerCase(name);
    return std::any_of(SECRETS.begin(), SECRETS.end(),
                       [&](const char* secret) { return lower.find(secret) != std::string::npos; });
}

std::string mask(bool isHidden, const std::string& text) {
    if (isHidden)
        return text.empty() ? "" : HIDDEN;
    // A password may hold what ends the credentials for a reader of URLs: that goes first.
    return http::withoutCredentials(withMaskedPasswords(text));
}

Json::Value mask(bool isHidden, const Json::Value& value) {
    if (value.isString())
        return mask(isHidden, value.asString());
    Json::Value result = value;
    if (value.isObject()) {
        for (const std::string& name : value.getMemberNames())
            result[name] = mask(isHidden || isSecret(name), value[name]);
    } else if (value.isArray()) {
        for (Json::Value& element : result)
            element = mask(isHidden, element);
    } else if (isHidden && !value.isNull()) {
        result = HIDDEN;
    }
    return result;
}

} // namespace

std::string shown(const std::string& name, const std::string& value) {
    return mask(isSecret(name), value);
}

Json::Value shown(const std::string& name, const Json::Value& value) {
    return mask(!value.isObject() && isSecret(name), value);
}

} // namespace masking
