// SPDX-License-Identifier: Apache-2.0
#include "xml/Xml.h"

#include "Scanner.h"
#include "TextRemoval.h"
#include "WellFormedness.h"

#include <algorithm>
#include <new>
#include <pugixml.hpp>

namespace common::xml {

namespace {

constexpr unsigned int OPTIONS =
    pugi::parse_escapes | pugi::parse_eol | pugi::parse_wconv_attribute;

pugi::xml_node toLibrary(void* element) {
    return pugi::xml_node(static_cast<pugi::xml_node_struct*>(element));
}

/// This node or the first sibling after it that is an element; null when there is none.
void* elementFrom(pugi::xml_node node) {
    while (node && node.type() != pugi::node_element)
        node = node.next_sibling();
    return node.internal_object();
}

pugi::xml_attribute toAttribute(void* attribute) {
    return pugi::xml_attribute(static_cast<pugi::xml_attribute_struct*>(attribute));
}

Node::AttributeIterator findAttribute(const Node::AttributeRange& attributes,
                                      std::string_view name) {
    return std::find_if(
        attributes.begin(), attributes.end(),
        [name](const Node::Attribute& attribute) { return attribute.name == name; });
}

} // namespace

Node::Attribute Node::AttributeIterator::operator*() const {
    const pugi::xml_attribute attribute = toAttribute(attribute_);
    return {attribute.name(), attribute.value()};
}

Node::AttributeIterator& Node::AttributeIterator::operator++() {
    attribute_ = toAttribute(attribute_).next_attribute().internal_object();
    return *this;
}

struct Document::Impl {
    explicit Impl(std::string content) : text(std::move(content)) {}

    std::string text; ///< the document's names and values lie in it
    pugi::xml_document document;
};

Node::Iterator& Node::Iterator::operator++() {
    element_ = elementFrom(toLibrary(element_).next_sibling());
    return *this;
}

std::string Node::tag() const {
    return toLibrary(element_).name();
}

std::string Node::attr(std::string_view name) const {
    const auto found = findAttribute(attrs(), name);
    return found == AttributeIterator() ? std::string() : std::string((*found).value);
}

bool Node::hasAttr(std::string_view name) const {
    return findAttribute(attrs(), name) != AttributeIterator();
}

Node::AttributeRange Node::attrs() const {
    return AttributeRange(
        AttributeIterator(toLibrary(element_).first_attribute().internal_object()));
}

Node::Iterator Node::begin() const {
    return Iterator(elementFrom(toLibrary(element_).first_child()));
}

bool Node::empty() const {
    return begin() == end();
}

// The library reads in place: its names lie in the text where they were, and neither the removal of
// text nor the expansion of references moves them.

std::size_t Node::offset() const {
    return static_cast<std::size_t>(toLibrary(element_).offset_debug());
}

std::size_t Node::offset(const Attribute& attribute) const {
    return offset() + static_cast<std::size_t>(attribute.name.data() - toLibrary(element_).name());
}

Document::Document(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Document::Document(Document&&) noexcept = default;
Document& Document::operator=(Document&&) noexcept = default;
Document::~Document() = default;

Node Document::root() const {
    return Node(impl_->document.document_element().internal_object());
}

Document parse(std::string text) {
    if (text.size() > MAX_BYTES)
        refuseAt(text, 0, "the document is larger than " + std::to_string(MAX_BYTES) + " bytes");
    if (checkWellFormed(text))
        removeText(text);
    auto impl = std::make_unique<Document::Impl>(std::move(text));
    const pugi::xml_parse_result result = impl->document.load_buffer_inplace(
        impl->text.data(), impl->text.size(), OPTIONS, pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory)
        throw std::bad_alloc();
    // The text has been overwritten by now: line and column are no longer known.
    if (!result)
        throw XmlException("byte " + std::to_string(result.offset) + ": " + result.description());
    return Document(std::move(impl));
}

} // namespace common::xml
