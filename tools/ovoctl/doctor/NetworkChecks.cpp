// SPDX-License-Identifier: Apache-2.0
#include "NetworkChecks.h"

#include "Directories.h"
#include "Examination.h"
#include "HttpAnswer.h"
#include "Vocabulary.h"
#include "http/UrlException.h"
#include "http/formatPath.h"
#include "text/Ascii.h"
#include "text/Number.h"

#include <algorithm>
#include <stdexcept>

namespace ovoctl {

namespace {

namespace keys = ovo::keys;

constexpr const char* SERVER = "server";
constexpr const char* PROXY = "proxy";
constexpr const char* HOST_NAME = "host name";
constexpr const char* CONNECTION = "connection";
constexpr const char* ANSWER = "answer";

/// Why the checks after that of the URL cannot be made.
constexpr const char* NO_URL = "there is no usable URL";

bool isEncrypted(const http::UrlInfo& url) {
    return ascii::equalsIgnoringCase(url.scheme, "https");
}

struct Endpoint {
    std::string host; ///< IPv6 without brackets
    std::uint16_t port;
};

std::string withoutBrackets(const std::string& host) {
    return host.starts_with('[') && host.ends_with(']') ? host.substr(1, host.size() - 2) : host;
}

Endpoint endpointOf(const http::Proxy& proxy) {
    constexpr std::uint16_t HTTPS_PORT = 443;
    constexpr std::uint16_t OTHER_PORT = 1080;
    const auto colon = proxy.name.rfind(':');
    if (colon != std::string::npos && proxy.name.find(']', colon) == std::string::npos)
        if (const auto port = parseNumber<std::uint16_t>(proxy.name.substr(colon + 1)))
            return {withoutBrackets(proxy.name.substr(0, colon)), *port};
    return {withoutBrackets(proxy.name),
            proxy.kind == http::Proxy::Kind::Https ? HTTPS_PORT : OTHER_PORT};
}

/// Whom the phone connects to.
Endpoint endpointOf(const Examination& examination) {
    if (examination.proxy)
        return endpointOf(*examination.proxy);
    const http::UrlInfo& url = *examination.url;
    const auto standard = static_cast<std::uint16_t>(isEncrypted(url) ? 443 : 80);
    return {withoutBrackets(url.host),
            url.port == 0 ? standard : static_cast<std::uint16_t>(url.port)};
}

/// As the daemon completes a URL.
http::UrlInfo completed(const Examination& examination, const std::string& text) {
    const phoneconfig::IPhoneConfig& configuration = *examination.phoneConfig;
    http::UrlInfo url(http::formatPath(http::UrlInfo(text).getUrl(),
                                       examination.property(keys::MAC_ADDRESS),
                                       configuration.getValue(ovo::configuration::MAJOR_ID),
                                       configuration.getValue(ovo::configuration::MINOR_ID)));
    if (url.fileName.empty())
        url.fileName = ovo::Files::DEFAULT_NAME;
    return url;
}

void judgeRefusal(Examination& examination, const HttpAnswer& answer) {
    if (!answer.offersDigest && !answer.offersBasic)
        examination.fail(ANSWER,
                         "status 401, and the server accepts neither Basic nor Digest "
                         "authentication",
                         "switch one of them on at the server");
    else if (answer.refused.empty())
        examination.fail(ANSWER, "status 401: the server asks for credentials, and there are none",
                         std::string("set ") + keys::HTTP_USER + " and " + keys::HTTP_PASSWORD);
    else
        examination.fail(ANSWER, "status 401: the server refuses " + answer.refused,
                         "correct them, here or at the server");
}

void judgeRedirect(Examination& examination, const HttpAnswer& answer) {
    const std::string status = "status " + std::to_string(answer.status);
    const std::string target = http::withoutCredentials(answer.location);
    if (target.empty())
        examination.fail(ANSWER, status + " without a target",
                         "correct the redirect at the server");
    else if (isEncrypted(*examination.url) &&
             ascii::equalsIgnoringCase(target.substr(0, 7), "http://"))
        examination.fail(ANSWER, status + " leads from https to http: " + target,
                         "let the server redirect to https");
    else
        examination.fine(ANSWER, status + " leads to " + target +
                                     ", which was not asked: give ovoctl doctor that URL");
}

void judge(Examination& examination, const HttpAnswer& answer) {
    const std::string status = "status " + std::to_string(answer.status);
    const std::string credentials =
        answer.accepted.empty() ? "" : ", and the server accepts " + answer.accepted;
    if (!answer.problem.empty())
        examination.fail(ANSWER, answer.problem, "see the checks above, and the server's log");
    else if (answer.status == 200)
        examination.fine(ANSWER, status + credentials);
    else if (answer.status >= 300 && answer.status < 400)
        judgeRedirect(examination, answer);
    else if (answer.status == 401)
        judgeRefusal(examination, answer);
    else if (answer.status == 404)
        examination.fail(ANSWER, status + credentials + ": the server does not have the file",
                         "put the file there, or correct the URL");
    else
        examination.fail(ANSWER, status + credentials, "see the server's log");
}

} // namespace

void checkServer(Examination& examination) {
    const bool isGiven = !examination.givenUrl.empty();
    if (!isGiven && !examination.isStoreReadable) {
        examination.skip(SERVER, "the store cannot be read, and no URL is given");
        return;
    }
    const std::string text =
        isGiven ? examination.givenUrl : examination.property(keys::PROVISIONING_SERVER);
    if (text.empty()) {
        examination.fail(
            SERVER, std::string("none is configured: ") + keys::PROVISIONING_SERVER + " is empty",
            "set it, or give a URL");
        return;
    }
    try {
        http::UrlInfo url = completed(examination, text);
        if (!isEncrypted(url) && !ascii::equalsIgnoringCase(url.scheme, "http")) {
            examination.fail(SERVER,
                             http::withoutCredentials(url).getUrl() + " is neither http nor https",
                             "correct the URL");
            return;
        }
        examination.fine(SERVER, http::withoutCredentials(url).getUrl() +
                                     (isGiven ? ", as given" : ", as configured"));
        examination.url = std::move(url);
    } catch (const http::UrlException& error) {
        examination.fail(SERVER, error.what(), std::string("correct ") + keys::PROVISIONING_SERVER);
    }
}

void checkProxy(Examination& examination) {
    if (!examination.url) {
        examination.skip(PROXY, NO_URL);
        return;
    }
    try {
        examination.proxy = http::Proxy::of(*examination.url);
    } catch (const std::runtime_error& error) {
        examination.isProxyUsable = false;
        examination.fail(PROXY, error.what(),
                         "correct http_proxy, https_proxy or all_proxy in the environment");
        return;
    }
    examination.fine(PROXY, examination.proxy
                                ? examination.proxy->name + ", from this environment (the daemon "
                                                            "has one of its own)"
                                : "none for this URL in this environment");
}

void checkHostName(Examination& examination) {
    if (!examination.url || !examination.isProxyUsable) {
        examination.skip(HOST_NAME, examination.url ? "the proxy is not usable" : NO_URL);
        return;
    }
    const Endpoint endpoint = endpointOf(examination);
    NameLookup found = lookUp(endpoint.host, endpoint.port, Examination::TIME_LIMIT);
    if (!found.problem.empty()) {
        examination.fail(HOST_NAME, endpoint.host + " cannot be resolved: " + found.problem,
                         "correct the name, or the name servers in /etc/resolv.conf");
        return;
    }
    std::string list;
    std::string last;
    for (const SocketAddress& address : found.addresses) {
        list += (list.empty() ? "" : ", ") + address.text();
        last = address.text();
    }
    examination.fine(HOST_NAME, last == endpoint.host ? last + " is an address"
                                                      : endpoint.host + " is " + list);
    examination.addresses = std::move(found.addresses);
}

void checkConnection(Examination& examination) {
    if (examination.addresses.empty()) {
        examination.skip(CONNECTION, examination.url ? "there is no address" : NO_URL);
        return;
    }
    const Endpoint endpoint = endpointOf(examination);
    const std::string port = " port " + std::to_string(endpoint.port);
    const auto deadline = std::chrono::steady_clock::now() + Examination::TIME_LIMIT;
    std::string problems;
    for (const SocketAddress& address : examination.addresses) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const std::string problem =
            whyUnreachable(address, std::max(left, std::chrono::milliseconds(0)));
        if (problem.empty()) {
            examination.isConnected = true;
            examination.fine(CONNECTION, address.text() + port + " takes connections");
            return;
        }
        problems += (problems.empty() ? "" : ", ") + address.text() + port + ": " + problem;
    }
    examination.fail(CONNECTION, problems, "start the server, or correct port, route and firewall");
}

void checkAnswer(Examination& examination) {
    if (!examination.isConnected) {
        examination.skip(ANSWER, examination.url ? "there is no connection" : NO_URL);
        return;
    }
    judge(examination, askServer(examination));
}

} // namespace ovoctl
