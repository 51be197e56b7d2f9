// SPDX-License-Identifier: Apache-2.0
#include "DownloadSettings.h"

#include "logger/Logger.h"
#include "text/Number.h"
#include "text/Quote.h"

#include <limits>
#include <optional>
#include <string>

namespace http {

namespace {

constexpr std::uint64_t MAX_SECONDS = 24ULL * 60 * 60;
constexpr std::uint64_t MAX_BYTES =
    static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

std::optional<std::uint64_t> parse(const std::string& text, std::uint64_t max) {
    const auto value = parseNumber<std::uint64_t>(text);
    return value && *value > 0 && *value <= max ? value : std::nullopt;
}

std::uint64_t readNumber(const phoneconfig::IPhoneConfig& phoneConfig, const std::string& key,
                         std::uint64_t defaultValue, std::uint64_t max) {
    const std::string text = phoneConfig.getValue(key);
    if (text.empty())
        return defaultValue;
    const std::optional<std::uint64_t> value = parse(text, max);
    if (!value) {
        LOG(2) << "Phone configuration " << key << " is " << quote(text)
               << ", which is not a number from 1 to " << max << "; " << defaultValue << " is used";
    }
    return value.value_or(defaultValue);
}

std::chrono::seconds readSeconds(const phoneconfig::IPhoneConfig& phoneConfig,
                                 const std::string& key, std::chrono::seconds defaultValue) {
    const auto value =
        readNumber(phoneConfig, key, static_cast<std::uint64_t>(defaultValue.count()), MAX_SECONDS);
    return std::chrono::seconds(static_cast<std::chrono::seconds::rep>(value));
}

} // namespace

DownloadSettings DownloadSettings::read(const phoneconfig::IPhoneConfig& phoneConfig) {
    const DownloadSettings defaults;
    DownloadSettings settings;
    settings.connectTimeout =
        readSeconds(phoneConfig, "networking.download.ConnectTimeout", defaults.connectTimeout);
    settings.stallTimeout =
        readSeconds(phoneConfig, "networking.download.StallTimeout", defaults.stallTimeout);
    settings.maxBytes =
        readNumber(phoneConfig, "networking.download.MaxBytes", defaults.maxBytes, MAX_BYTES);
    return settings;
}

} // namespace http
