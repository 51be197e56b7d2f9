#include "ProvisioningNode.h"

#include <ostream>

namespace ovo {

std::ostream& operator<<(std::ostream& stream, const ProvisioningNode& node) {
    return stream << node.name << "/" << node.type << " (" << node.children.size() << ")";
}

} // namespace ovo
