// SPDX-License-Identifier: Apache-2.0
#include "firmware/HaldenFirmwareVersion.h"

#include "filesystem/Filesystem.h"
#include "logger/Logger.h"

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace version {

namespace {

constexpr const char* VERSION_FILE = "/etc/firmware-version";
constexpr unsigned long long MAX_FILE_BYTES = 4096;
constexpr std::size_t MIN_NUMBERS = 2;
constexpr std::size_t MAX_NUMBERS = 4;

/// The digits of each number without leading zeros (0 has none), so that length and then text
/// compare numbers of every size.
using Numbers = std::array<std::string_view, MAX_NUMBERS>;

bool isDecimal(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char character) {
        return character >= '0' && character <= '9';
    });
}

std::string_view withoutLeadingZeros(std::string_view digits) {
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

std::optional<Numbers> parse(std::string_view text) {
    Numbers numbers{};
    std::size_t count = 0;
    for (bool more = true; more; ++count) {
        const std::size_t dot = text.find('.');
        const std::string_view digits = text.substr(0, dot);
        if (count == MAX_NUMBERS || !isDecimal(digits))
            return std::nullopt;
        numbers[count] = withoutLeadingZeros(digits);
        more = dot != std::string_view::npos;
        if (more)
            text.remove_prefix(dot + 1);
    }
    if (count < MIN_NUMBERS)
        return std::nullopt;
    return numbers;
}

/// Negative, 0, positive: less, equal, greater.
int order(std::string_view left, std::string_view right) {
    if (left.size() != right.size())
        return left.size() < right.size() ? -1 : 1;
    return left.compare(right);
}

int order(const Numbers& left, const Numbers& right) {
    for (std::size_t i = 0; i < MAX_NUMBERS; ++i) {
        if (const int result = order(left[i], right[i]); result != 0)
            return result;
    }
    return 0;
}

std::string readInstalledVersion() {
    try {
        const std::string content = filesystem::read(VERSION_FILE, MAX_FILE_BYTES);
        const std::string line = content.substr(0, content.find('\n'));
        return line.substr(0, line.find_last_not_of(" \t\r") + 1);
    } catch (const std::exception& exception) {
        LOG(2) << "Installed firmware version unknown: " << exception.what();
        return {};
    }
}

} // namespace

HaldenFirmwareVersion::HaldenFirmwareVersion() : text_(readInstalledVersion()) {}

HaldenFirmwareVersion::HaldenFirmwareVersion(const std::string& text) : text_(text) {}

int HaldenFirmwareVersion::compare(const HaldenFirmwareVersion& candidate) const {
    const std::optional<Numbers> offered = parse(candidate.text_);
    if (!offered)
        return INVALID;
    const std::optional<Numbers> installed = parse(text_);
    if (!installed || order(installed->front(), offered->front()) != 0)
        return NOT_UPGRADEABLE;
    const int result = order(*offered, *installed);
    if (result == 0)
        return EQUAL;
    return result > 0 ? NEWER : OLDER;
}

} // namespace version
