// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/UrlInfo.h"

#include <string>

namespace ovoctl::check {

struct FetchedFile {
    std::string content;
    http::UrlInfo address; ///< where it finally came from, without credentials
};

/// Fetches a file with the phone's downloader. Credentials in the URL are used where the server
/// asks for them. Trusted are the certificates that the phone below HALDEN_ROOT trusts or, where
/// there are none, this machine. Writes nothing below HALDEN_ROOT; before any thread runs. Throws
/// Misuse and Unaskable, without credentials.
FetchedFile fetch(const std::string& url);

} // namespace ovoctl::check
