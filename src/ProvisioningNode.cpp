// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningNode.h"

#include "text/Quote.h"

#include <stdexcept>

namespace ovo {

const std::string& attributeOf(const ProvisioningNode::Attributes& child, const std::string& name) {
    const auto attribute = child.find(name);
    if (attribute == child.end())
        throw std::out_of_range("attribute " + quote(name) + " is missing");
    return attribute->second;
}

} // namespace ovo
