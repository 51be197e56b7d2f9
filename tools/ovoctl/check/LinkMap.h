// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CheckSources.h"
#include "CheckedFile.h"

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace ovoctl::check {

/// Tells which of the files a link leads to. By the address where the phone finds it; a complete
/// URL of another server, where nobody says where the files are found, by as many last components
/// of its path as a file has.
class LinkMap {
public:
    /// base: as for findSources(). sources: outlive it.
    LinkMap(const std::vector<CheckSource>& sources, bool isBaseKnown);

    std::optional<std::size_t> find(const Link& link) const;

private:
    std::unordered_map<std::string, std::size_t> byAddress_;
    std::unordered_map<std::string, std::size_t> byPath_;
};

/// Finds lists and redirects that lead back to their file, and adds a finding for each at the place
/// that leads into the loop. files: in the order of the sources.
void findLoops(const std::vector<CheckSource>& sources, bool isBaseKnown,
               std::vector<CheckedFile>& files);

} // namespace ovoctl::check
