// SPDX-License-Identifier: Apache-2.0
// The installed firmware version on a phone whose distribution keeps it as VERSION_ID in
// /etc/os-release: what the header of the interface declares, implemented once more.
#include "filesystem/Filesystem.h"
#include "firmware/HaldenFirmwareVersion.h"
#include "logger/Logger.h"
#include "text/Number.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace version {

namespace {

constexpr const char* VERSION_FILE = "/etc/os-release";
constexpr unsigned long long MAX_FILE_BYTES = 65536;
constexpr std::string_view VERSION_KEY = "VERSION_ID=";
constexpr std::size_t MIN_NUMBERS = 2;
constexpr std::size_t MAX_NUMBERS = 4;

using Numbers = std::array<std::uint64_t, MAX_NUMBERS>;

std::optional<Numbers> parse(std::string_view text) {
    Numbers numbers{};
    std::size_t count = 0;
    for (bool more = true; more; ++count) {
        const std::size_t dot = text.find('.');
        const auto number = parseNumber<std::uint64_t>(text.substr(0, dot));
        if (count == MAX_NUMBERS || !number)
            return std::nullopt;
        numbers[count] = *number;
        more = dot != std::string_view::npos;
        if (more)
            text.remove_prefix(dot + 1);
    }
    return count < MIN_NUMBERS ? std::nullopt : std::optional(numbers);
}

std::string_view withoutQuotes(std::string_view value) {
    const bool isQuoted = value.size() > 1 && value.front() == value.back() &&
                          (value.front() == '"' || value.front() == '\'');
    return isQuoted ? value.substr(1, value.size() - 2) : value;
}

std::string installedVersion() {
    try {
        const std::string content = filesystem::read(VERSION_FILE, MAX_FILE_BYTES);
        for (std::string_view rest = content; !rest.empty();) {
            const std::string_view line = rest.substr(0, rest.find('\n'));
            if (line.starts_with(VERSION_KEY))
                return std::string(withoutQuotes(line.substr(VERSION_KEY.size())));
            rest.remove_prefix(line.size() == rest.size() ? line.size() : line.size() + 1);
        }
        LOG(2) << "Installed firmware version unknown: no VERSION_ID in " << VERSION_FILE;
    } catch (const std::exception& exception) {
        LOG(2) << "Installed firmware version unknown: " << exception.what();
    }
    return {};
}

} // namespace

HaldenFirmwareVersion::HaldenFirmwareVersion() : text_(installedVersion()) {}

HaldenFirmwareVersion::HaldenFirmwareVersion(const std::string& text) : text_(text) {}

int HaldenFirmwareVersion::compare(const HaldenFirmwareVersion& candidate) const {
    const std::optional<Numbers> offered = parse(candidate.text_);
    if (!offered)
        return INVALID;
    const std::optional<Numbers> installed = parse(text_);
    if (!installed || installed->front() != offered->front())
        return NOT_UPGRADEABLE;
    if (*offered == *installed)
        return EQUAL;
    return *offered > *installed ? NEWER : OLDER;
}

} // namespace version
