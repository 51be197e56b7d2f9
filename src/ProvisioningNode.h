// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace ovo {

/// One element of a provisioning file that carries job data.
struct ProvisioningNode {
    /// Attribute name to value of one leaf child.
    using Attributes = std::map<std::string, std::string>;

    std::string name; ///< tag of the element whose leaf children were collected, as "settings"
    std::string type; ///< tag of those leaf children, as "param": the kind of job
    std::vector<Attributes> children; ///< one map per leaf child with attributes, in document order
    std::size_t offset = 0;           ///< of the element's name in its document, in bytes
};

/// Value of an attribute of a leaf child. Throws std::out_of_range, whose text names the attribute,
/// when there is none.
const std::string& attributeOf(const ProvisioningNode::Attributes& child, const std::string& name);

/// Into a log line or a stream: name, type and number of children, as in "nvm/file (3)".
template <typename Stream>
Stream& operator<<(Stream& stream, const ProvisioningNode& node) {
    stream << node.name << "/" << node.type << " (" << node.children.size() << ")";
    return stream;
}

} // namespace ovo
