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
    return attributes.find(attribute).has_value();
}

std::string Leaf::value(const std::string& attribute) const {
    return std::string(attributes.find(attribute).value_or(""));
}

} // namespace ovoctl::check
