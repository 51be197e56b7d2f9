// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningNode.h"
#include "xml/Xml.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ovoctl::check {

/// Offset of an element in its document: that of the "<".
std::size_t placeOf(const common::xml::Node& element);
/// Offset of an attribute, or of the element where it has none of that name.
std::size_t placeOf(const common::xml::Node& element, std::string_view attribute);

/// A childless element with attributes. Valid as long as its document and its job's node.
struct Leaf {
    common::xml::Node element;
    /// As the job sees them; none where the element is part of no job.
    ovo::ProvisioningNode::Attributes attributes = {};

    // Of what the job sees.
    bool has(const std::string& attribute) const;
    /// Empty where there is none.
    std::string value(const std::string& attribute) const;
    std::size_t placeOfAttribute(std::string_view name) const { return placeOf(element, name); }
};

/// The element that is a job.
struct JobElement {
    common::xml::Node element;
    ovo::ProvisioningNode& node; ///< what the parser made of it
    std::vector<Leaf> leaves;    ///< in the order of the node's children
};

} // namespace ovoctl::check
