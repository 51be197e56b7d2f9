#include "http/UrlInfo.h"

#include <tuple>

namespace http {

namespace {

constexpr const char* SCHEME_SEPARATOR = "://";

std::string portSuffix(std::uint32_t port) {
    return port == 0 ? std::string() : ":" + std::to_string(port);
}

} // namespace

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
    const auto separator = url.find(SCHEME_SEPARATOR);
    if (separator == std::string::npos)
        return url;
    const auto authority = separator + 3;
    const auto end = url.find('/', authority);
    const auto at = url.rfind('@', end);
    if (at == std::string::npos || at < authority)
        return url;
    return url.substr(0, authority) + url.substr(at + 1);
}

} // namespace http
