// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CheckSources.h"
#include "Finding.h"
#include "KnownPhone.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace ovoctl::check {

/// What is checked, and how.
struct CheckOptions {
    std::vector<std::string> arguments; ///< files, URLs, directories
    std::string base;
    KnownPhone phone;
    std::optional<std::string> key;             ///< content of the key file
    std::set<std::string, std::less<>> allowed; ///< names of rules
};

/// One file and what was found in it, in the order of the places.
struct FileResult {
    std::string name;
    std::vector<Finding> findings;
    std::string unreadable; ///< why it could not be read; empty: it was
};

/// Checks everything, two files at a time. In the order of the names. Throws Misuse and Unaskable.
std::vector<FileResult> runCheck(const CheckOptions& options);

} // namespace ovoctl::check
