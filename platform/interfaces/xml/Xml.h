#ifndef XML_XML_H
#define XML_XML_H

#include <cstddef>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Reader of XML documents as a tree of elements. Text, comments and processing instructions are
/// passed over; no entity but the five predefined ones and character references is expanded.
namespace common::xml {

/// A document that is refused; the text says line, column and what is wrong.
class XmlException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One element: a light handle, valid as long as its document. Not synchronised; several threads
/// may read one document.
class Node {
public:
    using Attribute = std::pair<std::string, std::string>;

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

    /// element: the reader's own handle of an element.
    explicit Node(void* element) : element_(element) {}

    std::string tag() const;
    /// Value of an attribute (of its first occurrence), or the empty text.
    std::string attr(std::string_view name) const;
    bool hasAttr(std::string_view name) const;
    /// All attributes in document order, repeated ones included.
    std::vector<Attribute> attrs() const;
    /// Child elements in document order.
    Iterator begin() const;
    Iterator end() const { return Iterator(); }
    /// True when the element has no child elements.
    bool empty() const;

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

/// Parses a text in UTF-8. Refused with XmlException: what is not well-formed, invalid UTF-8, more
/// than MAX_BYTES, nesting deeper than MAX_DEPTH, a document type declaration.
Document parse(std::string text);

} // namespace common::xml

#endif
