// SPDX-License-Identifier: Apache-2.0
#include "LeafChildren.h"

#include "text/Quote.h"

#include <stdexcept>

namespace ovo {

std::optional<std::string_view> LeafChildren::Attributes::find(std::string_view name) const {
    for (std::size_t index = begin_; index != end_; ++index)
        if (const Attribute attribute = children_->attribute(index); attribute.name == name)
            return attribute.value;
    return std::nullopt;
}

std::string_view LeafChildren::Attributes::at(std::string_view name) const {
    if (const auto value = find(name))
        return *value;
    throw std::out_of_range("attribute " + quote(std::string(name)) + " is missing");
}

LeafChildren::LeafChildren(std::initializer_list<std::map<std::string, std::string>> children) {
    for (const auto& child : children)
        push(child);
}

void LeafChildren::reserve(std::size_t children, std::size_t attributes, std::size_t bytes) {
    ends_.reserve(children);
    attributes_.reserve(attributes);
    text_.reserve(bytes);
}

/// Children mostly have the same names in the same order: a name that the child before has at the
/// same place is kept once. previous: how many attributes that child has.
void LeafChildren::append(std::string_view name, std::string_view value, std::size_t previous) {
    const std::size_t count = attributes_.size();
    const bool isKept = previous != 0 && view(attributes_[count - previous].name) == name;
    const Piece kept = isKept ? attributes_[count - previous].name : append(name);
    attributes_.push_back({kept, append(value)});
}

LeafChildren::Piece LeafChildren::append(std::string_view part) {
    const auto begin = static_cast<std::uint32_t>(text_.size());
    text_ += part;
    return {begin, static_cast<std::uint32_t>(part.size())};
}

} // namespace ovo
