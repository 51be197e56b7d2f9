// SPDX-License-Identifier: Apache-2.0
#include "Masking.h"

#include "http/UrlInfo.h"
#include "text/Ascii.h"
#include "text/MaskedText.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace masking {

namespace {

constexpr const char* HIDDEN = "***";
constexpr std::array<const char*, 5> SECRETS = {"password", "passwd", "passphrase", "secret",
                                                "token"};
constexpr std::string_view SHARED_KEY = "psk";

bool isLower(char character) {
    return character >= 'a' && character <= 'z';
}

bool isUpper(char character) {
    return character >= 'A' && character <= 'Z';
}

/// True when a word of the name ends there: "Psk.1", "PskValue", "PSKValue"; not "TopSkin".
bool isEndOfWord(const std::string& name, std::size_t end) {
    if (end >= name.size() || (!isLower(name[end]) && !isUpper(name[end])))
        return true;
    if (isLower(name[end]))
        return false;
    return isLower(name[end - 1]) || (end + 1 < name.size() && isLower(name[end + 1]));
}

/// Other words may hold those three letters by chance.
bool holdsSharedKey(const std::string& name, const std::string& lower) {
    for (std::size_t at = lower.find(SHARED_KEY); at != std::string::npos;
         at = lower.find(SHARED_KEY, at + 1))
        if (isEndOfWord(name, at + SHARED_KEY.size()))
            return true;
    return false;
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

bool isSecret(const std::string& name) {
    const std::string lower = ascii::lowerCase(name);
    return holdsSharedKey(name, lower) ||
           std::any_of(SECRETS.begin(), SECRETS.end(),
                       [&](const char* secret) { return lower.find(secret) != std::string::npos; });
}

std::string shown(const std::string& name, const std::string& value) {
    return mask(isSecret(name), value);
}

Json::Value shown(const std::string& name, const Json::Value& value) {
    return mask(!value.isObject() && isSecret(name), value);
}

} // namespace masking
