// SPDX-License-Identifier: Apache-2.0
#include "Masking.h"

#include "http/UrlInfo.h"
#include "text/Ascii.h"
#include "text/MaskedText.h"

#include <algorithm>
#include <array>

namespace ovoctl::masking {

namespace {

constexpr std::array<const char*, 2> SECRETS = {"password", "secret"};

bool isSecret(const std::string& name) {
    const std::string lower = ascii::lowerCase(name);
    return std::any_of(SECRETS.begin(), SECRETS.end(),
                       [&](const char* secret) { return lower.find(secret) != std::string::npos; });
}

} // namespace

std::string shown(const std::string& name, const std::string& value) {
    if (isSecret(name))
        return value.empty() ? "" : "***";
    // A password may hold what ends the credentials for a reader of URLs: that goes first.
    return http::withoutCredentials(withMaskedPasswords(value));
}

Json::Value shown(const std::string& name, const Json::Value& value) {
    if (value.isString())
        return shown(name, value.asString());
    Json::Value result = value;
    if (value.isObject()) {
        for (const std::string& member : value.getMemberNames())
            result[member] = shown(isSecret(name) ? name : member, value[member]);
    } else if (value.isArray()) {
        for (Json::Value& element : result)
            element = shown(name, element);
    }
    return result;
}

} // namespace ovoctl::masking
