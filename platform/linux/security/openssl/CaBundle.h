// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace security {

/// A certificate of the bundle.
struct BundleEntry {
    std::string fileName; ///< of the file that it came from; empty: unknown
    std::string fingerprint;
    std::string pem;
};

/// The bundle's text. The file names stand in comments before the certificates, so that a later
/// rebuild, of another process too, can tell which file a certificate came from.
std::string formatBundle(const std::vector<BundleEntry>& entries);

/// File names by fingerprint of the certificates in a bundle's text; those that do not parse are
/// ignored.
std::map<std::string, std::string> parseBundle(std::string_view text);

} // namespace security
