// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Finding.h"
#include "JobElement.h"
#include "xml/Xml.h"

#include <string_view>
#include <vector>

namespace ovoctl::check {

/// The names of elements: of those that hold others, and of the childless ones in them.
class ElementNameCheck {
public:
    /// findings: outlives the check.
    explicit ElementNameCheck(FindingCollector& findings) : findings_(findings) {}

    /// A childless element without attributes.
    void checkBare(const common::xml::Node& element);
    /// The childless elements of one element have one name. isJob: false: the parser left them out.
    void checkMixed(const common::xml::Node& element, const std::vector<Leaf>& leaves, bool isJob);
    /// An element that is not a job and holds no leaves either.
    void checkHolder(const common::xml::Node& element);
    /// Leaves of a job to which any name is what it expects.
    void checkLeaves(const JobElement& job, std::string_view expected);
    /// What the parser made a job of and no handler knows.
    void checkUnknown(const JobElement& job);

private:
    FindingCollector& findings_;
};

} // namespace ovoctl::check
