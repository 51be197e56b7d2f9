// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LeafChildren.h"

#include <cstddef>
#include <string>

namespace ovo {

/// One element of a provisioning file that carries job data.
struct ProvisioningNode {
    /// Attribute name to value of one leaf child.
    using Attributes = LeafChildren::Attributes;

    std::string name;      ///< tag of the element whose leaf children were collected, as "settings"
    std::string type;      ///< tag of those leaf children, as "param": the kind of job
    LeafChildren children; ///< those with attributes, in document order
    std::size_t offset = 0; ///< of the element's name in its document, in bytes
};

/// Into a log line or a stream: name, type and number of children, as in "nvm/file (3)".
template <typename Stream>
Stream& operator<<(Stream& stream, const ProvisioningNode& node) {
    stream << node.name << "/" << node.type << " (" << node.children.size() << ")";
    return stream;
}

} // namespace ovo
