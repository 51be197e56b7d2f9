// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace http {

/// A URL in parts: scheme "://" [user ":" password "@"] host [":" port] path fileName.
struct UrlInfo {
    UrlInfo() = default;

    /// Splits a text. The file name is everything after the last "/" of what follows the host,
    /// query included, so it never holds a "/"; percent escapes stay as written; an IPv6 host keeps
    /// its brackets; with nothing after the host the path is "/", and a query or fragment right
    /// after it belongs to that path. Credentials end at the last "@" before the first "/"; a user
    /// or a password alone is dropped; port 0 counts as none. For every parsed u:
    /// UrlInfo(u.getUrl()) == u. Throws UrlException for a text without "://", with a malformed
    /// scheme, with an empty host, with brackets in the host that do not match, with a port that is
    /// not a number up to 65535 (an empty one too), with a blank or a control character anywhere,
    /// or with a "?" or "#" before the "@" of credentials; it quotes the text without its
    /// credentials.
    explicit UrlInfo(const std::string& text);

    std::string scheme; ///< "http" or "https", as written
    std::string host;
    std::uint32_t port = 0; ///< 0: none was given
    std::string path;       ///< directory, from the first "/" up to and including the last one
    std::string fileName;
    std::string user;
    std::string password;

    /// Address of the directory that holds the file: without credentials and file name.
    std::string getAbsolutePath() const;
    /// The whole URL, with its credentials when it has them.
    std::string getUrl() const;
    /// True when user and password are both given; one alone counts as none.
    bool hasCredentials() const;

    bool operator==(const UrlInfo& other) const;
};

/// A URL's text without "user:password@", for log lines and messages. Takes any text: whatever
/// stands between "://" and the last "@" of the part before the next "/" is cut.
std::string withoutCredentials(const std::string& url);
UrlInfo withoutCredentials(UrlInfo url);

} // namespace http
