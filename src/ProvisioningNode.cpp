// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningNode.h"

#include "text/Quote.h"

#include <ostream>
#include <stdexcept>

namespace ovo {

const std::string& attributeOf(const ProvisioningNode::Attributes& child, const std::string& name) {
    const auto attribute = child.find(name);
    if (attribute == child.end())
        throw std::out_of_range("attribute " + quote(name) + " is missing");
    return attribute->second;
}

std::ostream& operator<<(std::ostream& stream, const ProvisioningNode& node) {
    return stream << node.name << "/" << node.type << " (" << node.children.size() << ")";
}

} // namespace ovo
