// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Finding.h"
#include "text/Place.h"

#include <string>
#include <vector>

namespace ovoctl::check {

/// A place that leads to a further provisioning file.
struct Link {
    std::string url; ///< complete, without credentials, placeholders expanded as far as known
    bool isRelative; ///< as the file has it: to the address of the file
    Place place;
};

/// What was found in one file.
struct CheckedFile {
    std::vector<Finding> findings;
    std::vector<Link> links; ///< in the order of their places
};

} // namespace ovoctl::check
