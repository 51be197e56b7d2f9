// SPDX-License-Identifier: Apache-2.0
#include "ChangePack.h"

#include <cstddef>
#include <cstdint>

namespace propertyapi::changepack {

namespace {

constexpr std::size_t LENGTH_BYTES = 4;
constexpr unsigned int BYTE_BITS = 8;

/// A length, lowest byte first, and the bytes.
void appendText(std::string& pack, std::string_view text) {
    for (unsigned int byte = 0; byte < LENGTH_BYTES; ++byte)
        pack += static_cast<char>(text.size() >> (BYTE_BITS * byte) & 0xffU);
    pack += text;
}

std::optional<std::string_view> takeText(std::string_view& pack) {
    if (pack.size() < LENGTH_BYTES)
        return std::nullopt;
    std::uint32_t length = 0;
    for (unsigned int byte = 0; byte < LENGTH_BYTES; ++byte)
        length |= std::uint32_t{static_cast<unsigned char>(pack[byte])} << (BYTE_BITS * byte);
    pack.remove_prefix(LENGTH_BYTES);
    if (pack.size() < length)
        return std::nullopt;
    const std::string_view text = pack.substr(0, length);
    pack.remove_prefix(length);
    return text;
}

} // namespace

void append(std::string& pack, const Change& change) {
    appendText(pack, change.key);
    appendText(pack, change.value);
}

std::optional<Change> takeFirst(std::string_view& pack) {
    const auto key = takeText(pack);
    const auto value = key ? takeText(pack) : std::nullopt;
    if (value)
        return Change{*key, *value};
    pack = {};
    return std::nullopt;
}

} // namespace propertyapi::changepack
