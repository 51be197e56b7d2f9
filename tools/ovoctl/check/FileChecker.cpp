// SPDX-License-Identifier: Apache-2.0
#include "FileChecker.h"

#include "DocumentCheck.h"
#include "security/openssl/SaltedText.h"
#include "text/Ascii.h"
#include "text/Place.h"
#include "xml/Xml.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace ovoctl::check {

namespace {

bool isPage(const std::string& content) {
    constexpr std::size_t BEGINNING = 512;
    const std::string text = ascii::lowerCase(content.substr(0, BEGINNING));
    return text.find("<!doctype html") != std::string::npos ||
           text.find("<html") != std::string::npos;
}

/// Where the document leads to.
std::vector<LinkCheck::Target> checkDocument(const std::string& content,
                                             const DocumentContext& context) {
    try {
        const common::xml::Document document = common::xml::parse(content);
        DocumentCheck check(context);
        check.check(document);
        return check.takeTargets();
    } catch (const common::xml::XmlException& exception) {
        const std::string fault = exception.fault().empty() ? exception.what() : exception.fault();
        context.findings.addAt(rules::NOT_WELL_FORMED, exception.place(),
                               isPage(content) ? fault + "; the file is an HTML page" : fault);
        return {};
    }
}

std::vector<Link> linksOf(std::vector<LinkCheck::Target> targets, const std::string& content) {
    std::sort(targets.begin(), targets.end(),
              [](const auto& left, const auto& right) { return left.offset < right.offset; });
    std::vector<Link> links;
    links.reserve(targets.size());
    PlaceFinder finder(content);
    for (LinkCheck::Target& target : targets)
        links.push_back({std::move(target.url), target.isRelative, finder.at(target.offset)});
    return links;
}

} // namespace

CheckedFile FileChecker::check(std::string content, const http::UrlInfo& address) {
    bench_.reset();
    FindingCollector findings;
    std::vector<LinkCheck::Target> targets;
    const bool isEncrypted = content.starts_with(security::salted::MAGIC);
    if (isEncrypted && !key_)
        findings.add(rules::ENCRYPTED, 0,
                     "the file is encrypted and was not read; name the key file with --key");
    else if (decrypt(content, findings))
        targets = checkDocument(content, {bench_, address, isEncrypted, findings});
    return {findings.take(content), linksOf(std::move(targets), content)};
}

/// False: there is nothing to be read.
bool FileChecker::decrypt(std::string& content, FindingCollector& findings) {
    Diagnosed found = diagnoser_.diagnose(content);
    const bool isRead =
        found.diagnosis == Diagnosis::PLAIN || found.diagnosis == Diagnosis::READABLE;
    if (found.diagnosis == Diagnosis::READABLE)
        content = std::move(*found.plain);
    else
        findings.add(isRead ? rules::PLAIN : rules::ENCRYPTION, 0, std::move(found.sentence));
    return isRead;
}

} // namespace ovoctl::check
