// SPDX-License-Identifier: Apache-2.0
#include "http/UrlInfo.h"

#include "http/UrlException.h"
#include "text/Ascii.h"
#include "text/Number.h"
#include "text/Quote.h"

#include <algorithm>
#include <tuple>

namespace http {

namespace {

constexpr const char* SCHEME_SEPARATOR = "://";
constexpr std::size_t SCHEME_SEPARATOR_LENGTH = 3;
constexpr std::uint32_t MAX_PORT = 65535;
/// What begins the query or the fragment.
constexpr const char* QUERY_MARKS = "?#";

std::size_t authorityOf(const std::string& text) {
    const auto separator = text.find(SCHEME_SEPARATOR);
    return separator == std::string::npos ? 0 : separator + SCHEME_SEPARATOR_LENGTH;
}

/// Cuts everything up to the last "@" before the end, but not the scheme.
std::string cutCredentials(const std::string& text, std::size_t end) {
    const auto authority = authorityOf(text);
    const auto at = text.rfind('@', end);
    if (at == std::string::npos)
        return text;
    return text.substr(0, authority <= at ? authority : 0) + text.substr(at + 1);
}

[[noreturn]] void refuse(const std::string& text, const char* why) {
    // In a text that is not a URL the credentials may end anywhere: cut up to the last "@".
    throw UrlException("URL " + quote(cutCredentials(text, std::string::npos)) +
                       " refused: " + why);
}

bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isBlankOrControl(char character) {
    return character == ' ' || ascii::isControl(character);
}

bool isScheme(const std::string& text) {
    return !text.empty() && isLetter(text.front()) &&
           std::all_of(text.begin(), text.end(), [](char character) {
               return isLetter(character) || isDigit(character) || character == '+' ||
                      character == '-' || character == '.';
           });
}

/// None, or one pair around something and around all of it.
bool bracketsMatch(const std::string& host) {
    constexpr const char* BRACKETS = "[]";
    if (host.find_first_of(BRACKETS) == std::string::npos)
        return true;
    return host.size() > 2 && host.front() == '[' &&
           host.find_first_of(BRACKETS, 1) == host.size() - 1 && host.back() == ']';
}

/// Splits the text after "://" step by step; text is the whole one, for the errors.
struct Splitter {
    const std::string& text;
    UrlInfo& url;

    void takeCredentials(const std::string& credentials) const {
        // To other readers the host ends there, and is another one.
        if (credentials.find_first_of(QUERY_MARKS) != std::string::npos)
            refuse(text, "it holds \"?\" or \"#\" before the \"@\" of its host");
        const auto colon = credentials.find(':');
        url.user = credentials.substr(0, colon);
        if (colon != std::string::npos)
            url.password = credentials.substr(colon + 1);
        // One half alone counts as none, and getUrl() would not give it back.
        if (!url.hasCredentials()) {
            url.user.clear();
            url.password.clear();
        }
    }

    void takePort(const std::string& digits) const {
        const auto port = parseNumber<std::uint32_t>(digits);
        if (!port || *port > MAX_PORT)
            refuse(text, "the port is not a number up to 65535");
        url.port = *port;
    }

    void takeHost(const std::string& hostAndPort) const {
        const bool bracketed = hostAndPort.starts_with('[');
        const auto hostEnd = std::min(hostAndPort.find(':', bracketed ? hostAndPort.find(']') : 0),
                                      hostAndPort.size());
        url.host = hostAndPort.substr(0, hostEnd);
        if (url.host.empty())
            refuse(text, "it names no host");
        if (!bracketsMatch(url.host))
            refuse(text, "the brackets of its host do not match");
        if (hostEnd < hostAndPort.size())
            takePort(hostAndPort.substr(hostEnd + 1));
    }

    void takePath(const std::string& afterHost) const {
        const auto slash = afterHost.rfind('/');
        url.path = afterHost.substr(0, slash + 1);
        url.fileName = afterHost.substr(slash + 1);
    }
};

std::string portSuffix(std::uint32_t port) {
    return port == 0 ? std::string() : ":" + std::to_string(port);
}

} // namespace

UrlInfo::UrlInfo(const std::string& text) {
    if (std::any_of(text.begin(), text.end(), isBlankOrControl))
        refuse(text, "it holds a blank or a control character");
    const auto separator = text.find(SCHEME_SEPARATOR);
    if (separator == std::string::npos)
        refuse(text, "it has no \"://\"");
    scheme = text.substr(0, separator);
    if (!isScheme(scheme))
        refuse(text, "it does not begin with a scheme");

    const auto authorityBegin = separator + SCHEME_SEPARATOR_LENGTH;
    const auto authorityEnd = std::min(text.find('/', authorityBegin), text.size());
    std::string authority = text.substr(authorityBegin, authorityEnd - authorityBegin);
    std::string afterHost = text.substr(authorityEnd);

    const Splitter splitter{text, *this};
    // The last "@": a password may hold further ones, a host none.
    if (const auto at = authority.rfind('@'); at != std::string::npos) {
        splitter.takeCredentials(authority.substr(0, at));
        authority.erase(0, at + 1);
    }
    // A query right after the host belongs to the root directory.
    const auto hostEnd = std::min(authority.find_first_of(QUERY_MARKS), authority.size());
    if (hostEnd < authority.size() || afterHost.empty())
        afterHost = "/" + authority.substr(hostEnd) + afterHost;
    splitter.takeHost(authority.substr(0, hostEnd));
    splitter.takePath(afterHost);
}

std::string UrlInfo::getAbsolutePath() const {
    return scheme + SCHEME_SEPARATOR + host + portSuffix(port) + path;
}

std::string UrlInfo::getUrl() const {
    std::string url = scheme + SCHEME_SEPARATOR;
    if (hasCredentials())
        url += user + ":" + password + "@";
    return url + host + portSuffix(port) + path + fileName;
}

bool UrlInfo::hasCredentials() const {
    return !user.empty() && !password.empty();
}

bool UrlInfo::operator==(const UrlInfo& other) const {
    return std::tie(scheme, host, port, path, fileName, user, password) ==
           std::tie(other.scheme, other.host, other.port, other.path, other.fileName, other.user,
                    other.password);
}

std::string withoutCredentials(const std::string& url) {
    const auto authority = authorityOf(url);
    return authority == 0 ? url : cutCredentials(url, url.find('/', authority));
}

UrlInfo withoutCredentials(UrlInfo url) {
    url.user.clear();
    url.password.clear();
    return url;
}

} // namespace http
