// SPDX-License-Identifier: Apache-2.0
#include "BinaryText.h"

#include "ovoctl/support/Words.h"

#include <cstdint>

namespace ovoctl {

namespace {

constexpr const char* MEMBER = "base64";
constexpr std::string_view DIGITS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t BYTES = 3;
constexpr std::size_t DIGITS_OF_BYTES = 4;
constexpr unsigned int BITS = 6;

std::string encode(std::string_view text) {
    std::string result;
    for (std::size_t begin = 0; begin < text.size(); begin += BYTES) {
        const std::string_view piece = text.substr(begin, BYTES);
        std::uint32_t bits = 0;
        for (std::size_t index = 0; index < BYTES; ++index)
            bits = (bits << 8U) |
                   (index < piece.size() ? static_cast<unsigned char>(piece[index]) : 0U);
        for (std::size_t digit = 0; digit < DIGITS_OF_BYTES; ++digit)
            result += digit <= piece.size() ? DIGITS[(bits >> (18U - BITS * digit)) & 0x3fU] : '=';
    }
    return result;
}

std::optional<std::string> decode(std::string_view text) {
    if (text.size() % DIGITS_OF_BYTES != 0)
        return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && text.ends_with('=')) {
        text.remove_suffix(1);
        ++padding;
    }
    std::string result;
    std::uint32_t bits = 0;
    unsigned int count = 0;
    for (const char character : text) {
        const std::size_t value = DIGITS.find(character);
        if (value == std::string_view::npos)
            return std::nullopt;
        bits = (bits << BITS) | static_cast<std::uint32_t>(value);
        count += BITS;
        if (count >= 8U) {
            count -= 8U;
            result += static_cast<char>((bits >> count) & 0xffU);
        }
    }
    return result;
}

} // namespace

Json::Value toJson(std::string_view text) {
    if (isText(text))
        return {std::string(text)};
    Json::Value value(Json::objectValue);
    value[MEMBER] = encode(text);
    return value;
}

std::optional<std::string> fromJson(const Json::Value& value) {
    if (value.isString())
        return value.asString();
    if (!value.isObject() || value.size() != 1 || !value[MEMBER].isString())
        return std::nullopt;
    return decode(value[MEMBER].asString());
}

} // namespace ovoctl
