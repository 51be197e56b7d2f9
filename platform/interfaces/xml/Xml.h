// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "text/Place.h"

#include <cstddef>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

/// Reader of XML documents as a tree of elements. Text, comments and processing instructions are
/// skipped. References to characters and to the five predefined entities are expanded; there are no
/// others.
namespace common::xml {

/// A refused document; the text says line, column and the fault.
class XmlException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    /// fault: without the place, which becomes part of the text.
    XmlException(const Place& place, const std::string& fault)
        : std::runtime_error("line " + std::to_string(place.line) + ", column " +
                             std::to_string(place.column) + ": " + fault)
        , place_(place)
        , fault_(fault) {}

    const Place& place() const { return place_; }
    /// The text without the place; empty where the place is not known.
    const std::string& fault() const { return fault_; }

private:
    Place place_;
    std::string fault_;
};

/// One element: a light handle, valid as long as its document. Not synchronised; several threads
/// may read one document.
class Node {
public:
    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Node;
        using difference_type = std::ptrdiff_t;
        using pointer = const Node*;
        using reference = Node;

        Iterator() = default;
        explicit Iterator(void* element) : element_(element) {}
        Node operator*() const { return Node(element_); }
        Iterator& operator++();
        bool operator==(const Iterator& other) const = default;

    private:
        void* element_ = nullptr;
    };

    /// One attribute, as views into the document; valid as long as that.
    struct Attribute {
        std::string_view name;
        std::string_view value;

        bool operator==(const Attribute& other) const = default;
    };

    class AttributeIterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Attribute;
        using difference_type = std::ptrdiff_t;
        using pointer = const Attribute*;
        using reference = Attribute;

        AttributeIterator() = default;
        explicit AttributeIterator(void* attribute) : attribute_(attribute) {}
        Attribute operator*() const;
        AttributeIterator& operator++();
        bool operator==(const AttributeIterator& other) const = default;

    private:
        void* attribute_ = nullptr;
    };

    class AttributeRange {
    public:
        explicit AttributeRange(AttributeIterator begin) : begin_(begin) {}
        AttributeIterator begin() const { return begin_; }
        static AttributeIterator end() { return AttributeIterator(); }

    private:
        AttributeIterator begin_;
    };

    /// element: the reader's own handle of an element.
    explicit Node(void* element) : element_(element) {}

    std::string tag() const;
    /// Value of an attribute (of its first occurrence), or the empty text.
    std::string attr(std::string_view name) const;
    bool hasAttr(std::string_view name) const;
    /// All attributes in document order, repeated ones included.
    AttributeRange attrs() const;
    /// Child elements in document order.
    Iterator begin() const;
    Iterator end() const { return Iterator(); }
    /// True when the element has no child elements.
    bool empty() const;
    /// Where the name in the element's start tag begins, in bytes of the text given to parse().
    std::size_t offset() const;
    /// The same of one of its own attributes, as attrs() gives it.
    std::size_t offset(const Attribute& attribute) const;

private:
    void* element_;
};

/// A parsed document; movable, not copied.
class Document {
public:
    struct Impl;

    explicit Document(std::unique_ptr<Impl> impl);
    Document(Document&&) noexcept;
    Document& operator=(Document&&) noexcept;
    ~Document();

    Node root() const;

private:
    std::unique_ptr<Impl> impl_;
};

constexpr std::size_t MAX_BYTES = std::size_t{16} << 20U;
constexpr unsigned int MAX_DEPTH = 64; ///< levels of nesting; the root is level 1
constexpr std::size_t MAX_ELEMENTS_AND_ATTRIBUTES = 500'000; ///< together

/// Parses a text in UTF-8, with or without a byte order mark, or US-ASCII. Throws XmlException for
/// a text that is not well-formed by XML 1.0 (except for a repeated attribute) or not valid in its
/// encoding, a declaration of another encoding ("UTF-8", "utf8", "US-ASCII" and "ASCII" in any case
/// are known) or of a version that is not "1." and digits, UTF-16 and UTF-32, a document type
/// declaration, a reference to an entity that is not predefined, and a text beyond one of the
/// limits above. A document takes the memory of its text and less than 100 bytes for each element
/// and attribute, and no more while it is parsed.
Document parse(std::string text);

} // namespace common::xml
