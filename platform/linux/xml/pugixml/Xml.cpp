#include "xml/Xml.h"

#include "WellFormedness.h"

#include <iterator>
#include <new>
#include <pugixml.hpp>

namespace common::xml {

namespace {

constexpr unsigned int OPTIONS =
    pugi::parse_escapes | pugi::parse_eol | pugi::parse_wconv_attribute;

pugi::xml_node toLibrary(void* element) {
    return pugi::xml_node(static_cast<pugi::xml_node_struct*>(element));
}

/// This node or the first sibling behind it that is an element; null when there is none.
void* elementFrom(pugi::xml_node node) {
    while (node && node.type() != pugi::node_element)
        node = node.next_sibling();
    return node.internal_object();
}

pugi::xml_attribute findAttribute(void* element, std::string_view name) {
    for (const pugi::xml_attribute attribute : toLibrary(element).attributes()) {
        if (name == attribute.name())
            return attribute;
    }
    return {};
}

} // namespace

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
    return findAttribute(element_, name).value();
}

bool Node::hasAttr(std::string_view name) const {
    return !findAttribute(element_, name).empty();
}

std::vector<Node::Attribute> Node::attrs() const {
    const auto attributes = toLibrary(element_).attributes();
    std::vector<Attribute> result;
    result.reserve(static_cast<std::size_t>(std::distance(attributes.begin(), attributes.end())));
    for (const pugi::xml_attribute attribute : attributes)
        result.emplace_back(attribute.name(), attribute.value());
    return result;
}

Node::Iterator Node::begin() const {
    return Iterator(elementFrom(toLibrary(element_).first_child()));
}

bool Node::empty() const {
    return begin() == end();
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
    checkWellFormed(text);
    auto impl = std::make_unique<Document::Impl>(std::move(text));
    const pugi::xml_parse_result result = impl->document.load_buffer_inplace(
        impl->text.data(), impl->text.size(), OPTIONS, pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory)
        throw std::bad_alloc();
    // The text has been changed by now: line and column can no longer be told.
    if (!result)
        throw XmlException("byte " + std::to_string(result.offset) + ": " + result.description());
    return Document(std::move(impl));
}

} // namespace common::xml
