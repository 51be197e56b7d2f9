// SPDX-License-Identifier: Apache-2.0
#include "Proxy.h"

#include "text/Ascii.h"

#include <arpa/inet.h>
#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace http {

namespace {

/// The library's reading of a URL.
class Parts {
public:
    explicit Parts(const std::string& text) : handle_(::curl_url()) {
        valid_ = ::curl_url_set(handle_.get(), CURLUPART_URL, text.c_str(),
                                CURLU_NON_SUPPORT_SCHEME | CURLU_GUESS_SCHEME) == CURLUE_OK;
    }

    bool valid() const { return valid_; }
    std::string get(CURLUPart part) const {
        char* text = nullptr;
        if (::curl_url_get(handle_.get(), part, &text, 0) != CURLUE_OK)
            return {};
        std::string result = text;
        ::curl_free(text);
        return result;
    }

private:
    struct CleanUp {
        void operator()(CURLU* url) const { ::curl_url_cleanup(url); }
    };

    std::unique_ptr<CURLU, CleanUp> handle_;
    bool valid_ = false;
};

/// The first of these variables that is set and not empty.
std::string environment(std::initializer_list<const char*> names) {
    for (const char* name : names) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0')
            return value;
    }
    return {};
}

/// An address of either family as bits; empty: it is not one.
struct Address {
    std::array<unsigned char, 16> bytes{};
    unsigned int bits = 0; ///< 32 or 128

    static Address of(const std::string& text) {
        Address address;
        if (::inet_pton(AF_INET, text.c_str(), address.bytes.data()) == 1)
            address.bits = 32;
        else if (::inet_pton(AF_INET6, text.c_str(), address.bytes.data()) == 1)
            address.bits = 128;
        return address;
    }

    bool sameAs(const Address& other, unsigned int count) const {
        for (unsigned int bit = 0; bit < count; ++bit) {
            const unsigned int mask = 0x80U >> bit % 8;
            if (((bytes[bit / 8] ^ other.bytes[bit / 8]) & mask) != 0)
                return false;
        }
        return true;
    }
};

/// entry: an address, or one with "/" and the number of bits that count.
bool listsAddress(std::string_view entry, const Address& address) {
    const auto slash = std::min(entry.find('/'), entry.size());
    const Address listed = Address::of(std::string(entry.substr(0, slash)));
    unsigned int count = 0;
    const std::string_view digits = entry.substr(std::min(slash + 1, entry.size()));
    std::from_chars(digits.data(), digits.data() + digits.size(), count);
    if (listed.bits != address.bits || count > address.bits)
        return false;
    return address.sameAs(listed, count == 0 ? address.bits : count);
}

/// entry: a host, or the domain that it is in.
bool listsName(std::string_view entry, std::string_view name) {
    if (entry.ends_with('.'))
        entry.remove_suffix(1);
    if (entry.starts_with('.'))
        entry.remove_prefix(1);
    if (name.ends_with('.'))
        name.remove_suffix(1);
    if (entry.empty() || entry.size() > name.size())
        return false;
    const auto rest = name.size() - entry.size();
    return ascii::equalsIgnoringCase(name.substr(rest), entry) &&
           (rest == 0 || name[rest - 1] == '.');
}

/// list: separated by commas.
bool isExempt(std::string host, std::string_view list) {
    if (list == "*")
        return true;
    if (host.starts_with('['))
        host = host.substr(1, host.size() - 2);
    const Address address = Address::of(host);
    while (!list.empty()) {
        const auto end = std::min(list.find_first_of(", \t"), list.size());
        const std::string_view entry = list.substr(0, end);
        list.remove_prefix(std::min(end + 1, list.size()));
        if (!entry.empty() &&
            (address.bits != 0 ? listsAddress(entry, address) : listsName(entry, host)))
            return true;
    }
    return false;
}

std::optional<Proxy::Kind> kindOf(const std::string& scheme) {
    if (scheme == "http")
        return Proxy::Kind::Http;
    if (scheme == "https")
        return Proxy::Kind::Https;
    if (scheme == "socks4" || scheme == "socks4a" || scheme == "socks5" || scheme == "socks5h")
        return Proxy::Kind::Socks;
    return std::nullopt;
}

} // namespace

std::optional<Proxy> Proxy::of(const UrlInfo& url) {
    const bool encrypted = ascii::equalsIgnoringCase(url.scheme, "https");
    // Never "HTTP_PROXY": web servers set it to what a header of a request says.
    Proxy proxy;
    proxy.url = encrypted ? environment({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
                          : environment({"http_proxy", "all_proxy", "ALL_PROXY"});
    if (proxy.url.empty() || isExempt(Parts(url.getAbsolutePath()).get(CURLUPART_HOST),
                                      environment({"no_proxy", "NO_PROXY"})))
        return std::nullopt;
    const bool hasScheme = proxy.url.find("://") != std::string::npos;
    const Parts parts(hasScheme ? proxy.url : "http://" + proxy.url);
    const std::optional<Kind> kind = kindOf(parts.get(CURLUPART_SCHEME));
    if (!parts.valid() || !kind)
        throw std::runtime_error("what the environment names as proxy is not usable");
    const std::string port = parts.get(CURLUPART_PORT);
    proxy.name = parts.get(CURLUPART_HOST) + (port.empty() ? "" : ":" + port);
    proxy.kind = *kind;
    proxy.hasCredentials = !parts.get(CURLUPART_USER).empty();
    return proxy;
}

} // namespace http
