// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CheckedFile.h"
#include "JobBench.h"
#include "http/UrlInfo.h"
#include "ovoctl/crypt/Diagnosis.h"

#include <optional>
#include <string>
#include <string_view>

namespace ovoctl::check {

/// Checks one file after another, with the daemon's own parser, builder and handlers. One thread.
class FileChecker {
public:
    /// key: content of the key file; none: encrypted files are not read. Both outlive it.
    FileChecker(const KnownPhone& phone, const std::optional<std::string>& key)
        : bench_(phone), key_(key), diagnoser_(key ? std::string_view(*key) : std::string_view()) {}

    /// address: where the phone finds the file; made up, with https, where that is not known.
    CheckedFile check(std::string content, const http::UrlInfo& address);

private:
    bool decrypt(std::string& content, FindingCollector& findings);

    JobBench bench_;
    const std::optional<std::string>& key_;
    Diagnoser diagnoser_;
};

} // namespace ovoctl::check
