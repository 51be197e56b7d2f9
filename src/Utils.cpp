// SPDX-License-Identifier: Apache-2.0
#include "Utils.h"

#include "Directories.h"
#include "Vocabulary.h"
#include "http/UrlException.h"
#include "logger/Logger.h"
#include "text/Quote.h"

namespace ovo {

namespace {

constexpr std::uint32_t MIN_PERIOD_SECONDS = 600;
constexpr std::uint32_t MAX_PERIOD_SECONDS = 86400;

} // namespace

std::string Utils::convertStatus(ProvisioningStatus status) {
    switch (status) {
    case ProvisioningStatus::PartSuccess:
        return values::PART_SUCCESS;
    case ProvisioningStatus::Success:
        return values::SUCCESS;
    default:
        return values::FAIL;
    }
}

http::UrlInfo Utils::prependServerAddressToRelativeURL(std::string url,
                                                       const std::string& serverAddress) {
    try {
        if (url.empty())
            throw http::UrlException("The URL is empty");
        if (url.front() == '/')
            url = http::UrlInfo(serverAddress).getAbsolutePath() + url.substr(1);
        return http::UrlInfo(url);
    } catch (const std::exception& exception) {
        LOG(2) << exception.what();
        std::throw_with_nested(http::UrlException("Url is incorrect, please verify"));
    }
}

std::string Utils::causeOf(const std::exception& exception) {
    try {
        std::rethrow_if_nested(exception);
    } catch (const std::exception& reason) {
        return std::string(exception.what()) + ": " + reason.what();
    }
    return exception.what();
}

std::string Utils::constructXMLPath(const std::string& directory, const std::string& file) {
    return Directories::WORKING_ROOT + directory + "/" + file;
}

std::string Utils::shortened(const std::string& text, std::size_t longest) {
    if (text.size() <= longest)
        return text;
    // Not within a character: the further bytes of one are 10xxxxxx.
    std::size_t end = longest;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U)
        --end;
    return text.substr(0, end) + "... (" + std::to_string(text.size()) + " bytes)";
}

std::string Utils::shortQuote(const std::string& text) {
    constexpr std::size_t LONGEST = 256;
    return quote(shortened(text, LONGEST));
}

std::uint32_t Utils::convertTimeStringToSeconds(const std::string& text) {
    // A negative number becomes a large one here and so counts as too long.
    const auto seconds = static_cast<std::uint32_t>(std::stoi(text));
    if (seconds != 0 && seconds < MIN_PERIOD_SECONDS) {
        LOG(2) << "Period must be at least 10 min., setting period to 10 min.";
        return MIN_PERIOD_SECONDS;
    }
    if (seconds > MAX_PERIOD_SECONDS) {
        LOG(2) << "Period must be no longer than 24h, setting period to 24h";
        return MAX_PERIOD_SECONDS;
    }
    return seconds;
}

} // namespace ovo
