// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/UrlInfo.h"

#include <optional>
#include <string>
#include <vector>

namespace ovoctl::check {

/// One file to be checked.
struct CheckSource {
    std::string name;                   ///< as findings show it, without credentials
    std::string path;                   ///< on this machine; of a fetched file empty
    std::optional<std::string> content; ///< of a fetched file
    std::string relativePath;           ///< below the directory that was named
    http::UrlInfo address;    ///< the phone's view; made up, with https, where it is not known
    std::string unreadable{}; ///< why it could not be fetched; empty: it was, or is on this machine
};

/// Finds the files that arguments mean: files, URLs (fetched now), and below directories every
/// regular file whose name ends in ".xml" or ".enc". In the order of their names, each name once.
/// base: where the phone finds the directories and files; empty: not known. Before any thread runs.
/// Throws Misuse and Unaskable.
std::vector<CheckSource> findSources(const std::vector<std::string>& arguments,
                                     const std::string& base);

} // namespace ovoctl::check
