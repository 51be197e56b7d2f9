// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningStatus.h"
#include "http/UrlInfo.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

namespace ovo {

/// Small helpers that several parts of the daemon share. No state; any thread.
struct Utils {
    /// "fail", "partSuccess" or "success"; "fail" for NotSet and for any number out of range.
    static std::string convertStatus(ProvisioningStatus status);

    /// A URL from a provisioning file. One that begins with "/" is taken relative to the directory
    /// of the server address, not to the server's root; any other is parsed as it stands. A text
    /// that is not a URL, the empty one included, is named in one level 2 line with the reason;
    /// then http::UrlException "Url is incorrect, please verify" is thrown, with the reason nested.
    static http::UrlInfo prependServerAddressToRelativeURL(std::string url,
                                                           const std::string& serverAddress);

    /// An exception in words, and the one nested in it.
    static std::string causeOf(const std::exception& exception);

    /// Local path of a further provisioning file. Joins the texts as they are.
    static std::string constructXMLPath(const std::string& directory, const std::string& file);

    /// A text in UTF-8 for a log line. One of more than longest bytes is cut there, followed by
    /// "..." and its size.
    static std::string shortened(const std::string& text, std::size_t longest);
    /// A text from a file or the store, quoted for a log line. Of a long one the first 256 bytes.
    static std::string shortQuote(const std::string& text);

    /// A period in seconds from decimal text: 0, or 600 to 86400. A number outside becomes the
    /// nearer end, with a level 2 log line (a negative number becomes 86400). Throws
    /// std::invalid_argument or std::out_of_range for a text that is not an int.
    static std::uint32_t convertTimeStringToSeconds(const std::string& text);
};

} // namespace ovo
