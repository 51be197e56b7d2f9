// SPDX-License-Identifier: Apache-2.0
#include "CaBundle.h"

#include "X509Text.h"

namespace security {

namespace {

constexpr std::string_view HEADER =
    "# Trusted certificates, built from a directory: what is changed here is lost.\n";
constexpr std::string_view FILE_COMMENT = "\n# File: ";
constexpr std::string_view BEGIN = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view END = "-----END CERTIFICATE-----";
constexpr std::size_t NONE = std::string_view::npos;

/// The file that the last comment names.
std::string lastFileName(std::string_view comments) {
    const std::size_t comment = comments.rfind(FILE_COMMENT);
    if (comment == NONE)
        return {};
    const std::string_view name = comments.substr(comment + FILE_COMMENT.size());
    return std::string(name.substr(0, name.find('\n')));
}

} // namespace

std::string formatBundle(const std::vector<BundleEntry>& entries) {
    std::string text(HEADER);
    for (const BundleEntry& entry : entries)
        text.append(FILE_COMMENT).append(entry.fileName).append("\n").append(entry.pem);
    return text;
}

std::map<std::string, std::string> parseBundle(std::string_view text) {
    std::map<std::string, std::string> names;
    for (;;) {
        const std::size_t begin = text.find(BEGIN);
        const std::size_t end = text.find(END, begin == NONE ? begin : begin + BEGIN.size());
        if (end == NONE)
            return names;
        const std::string_view comments = text.substr(0, begin);
        const std::string_view block = text.substr(begin, end + END.size() - begin);
        for (const X509Ptr& certificate : x509::parse(std::string(block) + "\n"))
            names.emplace(x509::fingerprint(certificate.get()), lastFileName(comments));
        text.remove_prefix(end + END.size());
    }
}

} // namespace security
