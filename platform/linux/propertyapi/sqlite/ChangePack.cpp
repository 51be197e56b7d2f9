// SPDX-License-Identifier: Apache-2.0
#include "ChangePack.h"

#include <array>
#include <cstdint>
#include <optional>

namespace propertyapi {

namespace {

constexpr std::size_t LENGTH_BYTES = 4;

/// A length, lowest byte first, and the bytes.
void appendText(std::string& to, const std::string& text) {
    const auto length = static_cast<std::uint32_t>(text.size());
    std::array<char, LENGTH_BYTES> bytes{};
    for (unsigned int byte = 0; byte < LENGTH_BYTES; ++byte)
        bytes.at(byte) = static_cast<char>(length >> (8 * byte) & 0xffU);
    to.append(bytes.data(), bytes.size());
    to += text;
}

std::optional<std::string> takeText(const std::string& from, std::size_t& position) {
    if (from.size() - position < LENGTH_BYTES)
        return std::nullopt;
    std::size_t length = 0;
    for (unsigned int byte = 0; byte < LENGTH_BYTES; ++byte)
        length |= static_cast<std::size_t>(static_cast<unsigned char>(from[position + byte]))
                  << (8 * byte);
    position += LENGTH_BYTES;
    if (from.size() - position < length)
        return std::nullopt;
    std::string text = from.substr(position, length);
    position += length;
    return text;
}

} // namespace

void ChangePack::append(const std::string& key, const std::string& value) {
    appendText(text_, key);
    appendText(text_, value);
    ++count_;
}

void ChangePack::clear() {
    count_ = 0;
    text_.clear();
}

std::vector<Property> ChangePack::unpack(const std::string& text) {
    std::vector<Property> changes;
    for (std::size_t position = 0; position < text.size();) {
        std::optional<std::string> key = takeText(text, position);
        std::optional<std::string> value = key ? takeText(text, position) : std::nullopt;
        if (!value)
            break;
        changes.push_back({std::move(*key), std::move(*value)});
    }
    return changes;
}

} // namespace propertyapi
