// SPDX-License-Identifier: Apache-2.0
#include "JobElement.h"

namespace ovoctl::check {

std::size_t placeOf(const common::xml::Node& element) {
    return element.offset() - 1;
}

std::size_t placeOf(const common::xml::Node& element, std::string_view attribute) {
    for (const common::xml::Node::Attribute candidate : element.attrs())
        if (candidate.name == attribute)
            return element.offset(candidate);
    return placeOf(element);
}

bool Leaf::has(const std::string& attribute) const {
    return attributes->contains(attribute);
}

std::string Leaf::value(const std::string& attribute) const {
    const auto found = attributes->find(attribute);
    return found == attributes->end() ? std::string() : found->second;
}

} // namespace ovoctl::check
