// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningNode.h"

#include <string>
#include <vector>

namespace ovo {

/// Turns a provisioning file into the elements that carry job data.
class IProvisioningFileParser {
public:
    virtual ~IProvisioningFileParser() = default;
    /// Reads the plain file at a phone path, checks that it is meant for this phone and appends its
    /// nodes, each before the node of the element around it. Throws std::runtime_error. On the
    /// provisioning thread.
    virtual void parse(std::string path, std::vector<ProvisioningNode>& nodes) = 0;
};

} // namespace ovo
