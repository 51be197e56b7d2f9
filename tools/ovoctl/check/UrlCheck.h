// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DocumentContext.h"
#include "JobElement.h"
#include "http/UrlInfo.h"

#include <string>

namespace ovoctl::check {

/// The attribute "url": whether it is one, what may go over plain http, and under which name the
/// phone stores what it fetches from there.
class UrlCheck {
public:
    /// What is fetched from a URL.
    enum class Content {
        FILE,       ///< stored under the name in the URL
        NAMED_FILE, ///< stored under a name of the phone's own
        PRIVATE_KEY ///< the same, and secret
    };

    /// context: outlives the check.
    explicit UrlCheck(const DocumentContext& context) : context_(context) {}

    /// Resolves it against the document's address, as the phone does.
    void check(const Leaf& leaf, Content content);
    /// One that is resolved already.
    void checkResolved(const Leaf& leaf, const http::UrlInfo& url, Content content);
    /// Why a text is not a URL in this document; empty where it is.
    std::string faultOf(const std::string& text) const;

private:
    void checkFileName(const Leaf& leaf, const std::string& name);

    const DocumentContext& context_;
};

/// True for http without TLS.
bool isPlain(const http::UrlInfo& url);

} // namespace ovoctl::check
