// SPDX-License-Identifier: Apache-2.0
#include "UrlCheck.h"

#include "JobHandlers/StepTypes.h"
#include "Utils.h"
#include "filesystem/posix/AtomicFile.h"
#include "http/UrlException.h"
#include "text/Ascii.h"

namespace ovoctl::check {

namespace {

using ovo::Utils;
using ovo::steps::ATTR_URL;

/// A directory of the phone that does not exist: only the name of a file in it matters.
const std::string NOWHERE = "/nowhere-at-all/";

} // namespace

bool isPlain(const http::UrlInfo& url) {
    return ascii::equalsIgnoringCase(url.scheme, "http");
}

void UrlCheck::check(const Leaf& leaf, Content content) {
    const std::string text = leaf.value(ATTR_URL);
    const std::string fault = faultOf(text);
    if (fault.empty())
        checkResolved(
            leaf,
            Utils::prependServerAddressToRelativeURL(text, context_.address.getAbsolutePath()),
            content);
    else
        context_.findings.add(rules::URL, leaf.placeOfAttribute(ATTR_URL), fault);
}

std::string UrlCheck::faultOf(const std::string& text) const {
    if (text.empty())
        return "the URL is empty";
    try {
        static_cast<void>(
            Utils::prependServerAddressToRelativeURL(text, context_.address.getAbsolutePath()));
        return {};
    } catch (const http::UrlException&) {
        // A text that is not a URL may hold credentials anywhere.
        const std::string shown =
            text.find('@') == std::string::npos ? "the URL " + Utils::shortQuote(text) : "the URL";
        if (text.front() != '/' && text.find("://") == std::string::npos)
            return shown + " is neither complete nor begins with \"/\"";
    }
    try {
        static_cast<void>(http::UrlInfo(text));
        return "the URL is not one together with the address of the file";
    } catch (const http::UrlException& exception) {
        return exception.what();
    }
}

void UrlCheck::checkResolved(const Leaf& leaf, const http::UrlInfo& url, Content content) {
    const std::size_t place = leaf.placeOfAttribute(ATTR_URL);
    if (!isPlain(url) && !ascii::equalsIgnoringCase(url.scheme, "https"))
        context_.findings.add(rules::URL, place,
                              Utils::shortQuote(url.scheme) +
                                  " is not supported, only http and https are");
    if (isPlain(url) && url.hasCredentials())
        context_.findings.add(rules::PLAIN_SECRET, place,
                              "the credentials in the URL go over plain http");
    if (isPlain(url) && content == Content::PRIVATE_KEY)
        context_.findings.add(rules::PLAIN_SECRET, place, "the private key comes over plain http");
    if (content == Content::FILE)
        checkFileName(leaf, url.fileName);
}

void UrlCheck::checkFileName(const Leaf& leaf, const std::string& name) {
    try {
        filesystem::AtomicFile::check(NOWHERE + name);
    } catch (const std::exception&) {
        context_.findings.add(rules::FILE_NAME, leaf.placeOfAttribute(ATTR_URL),
                              name.empty() ? "the URL names no file"
                                           : "no file is stored as " + Utils::shortQuote(name));
    }
}

} // namespace ovoctl::check
