// SPDX-License-Identifier: Apache-2.0
#include "BusAddress.h"

#include "ForeignText.h"
#include "text/Ascii.h"
#include "text/Number.h"

#include <sys/un.h>

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace ipc {

namespace {

constexpr std::string_view UNIX_SCHEME = "unix:";
constexpr std::string_view TCP_SCHEME = "tcp:";
constexpr std::uint32_t LARGEST_PORT = 65535;

[[noreturn]] void refuse(const std::string& text, const char* why) {
    throw std::runtime_error("Bus address " + foreignText(text) + " is malformed: " + why);
}

/// 0 for anything but a port's number in decimal digits.
int portNumber(std::string_view digits) {
    const auto port = parseNumber<std::uint32_t>(digits);
    return port && *port <= LARGEST_PORT ? static_cast<int>(*port) : 0;
}

BusAddress parseUnix(const std::string& text) {
    const std::string path = text.substr(UNIX_SCHEME.size());
    if (path.empty())
        refuse(text, "the path is empty");
    if (path.size() >= sizeof(sockaddr_un::sun_path))
        refuse(text, "the path is too long for a socket");
    return {text, path, 0};
}

BusAddress parseTcp(const std::string& text) {
    const std::string rest = text.substr(TCP_SCHEME.size());
    const auto colon = rest.rfind(':');
    if (colon == std::string::npos)
        refuse(text, "the port is missing");
    const int port = portNumber(std::string_view(rest).substr(colon + 1));
    if (port == 0)
        refuse(text, "the port is not a number from 1 to 65535");
    std::string host = rest.substr(0, colon);
    const bool isBracketed = host.size() >= 2 && host.front() == '[' && host.back() == ']';
    if (isBracketed)
        host = host.substr(1, host.size() - 2);
    if (host.empty())
        refuse(text, "the host is empty");
    if (host.find_first_of("[]") != std::string::npos ||
        (!isBracketed && host.find(':') != std::string::npos))
        refuse(text, "an IPv6 host stands in brackets");
    return {text, host, port};
}

} // namespace

BusAddress BusAddress::parse(const std::string& text) {
    if (std::any_of(text.begin(), text.end(), ascii::isControl))
        refuse(text, "it holds a control character");
    if (text.starts_with(UNIX_SCHEME))
        return parseUnix(text);
    if (text.starts_with(TCP_SCHEME))
        return parseTcp(text);
    refuse(text, "expected unix:PATH or tcp:HOST:PORT");
}

} // namespace ipc
