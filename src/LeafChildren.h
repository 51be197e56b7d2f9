// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovo {

/// The leaf children of an element of a provisioning file, in document order, each a set of
/// attributes. All names and values lie in one text, because a file may hold a hundred thousand of
/// them: the text of all children together is below 4 GiB. Views of it, and Attributes, are valid
/// until the object is changed, moved or destroyed.
class LeafChildren {
public:
    struct Attribute {
        std::string_view name;
        std::string_view value;
    };

    /// Goes through the children of an object, or through the attributes of a child.
    template <typename Items>
    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = decltype(Items()[0]);
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = value_type;

        Iterator(const Items& items, std::size_t index) : items_(&items), index_(index) {}
        value_type operator*() const { return (*items_)[index_]; }
        Iterator& operator++() {
            ++index_;
            return *this;
        }
        bool operator==(const Iterator& other) const { return index_ == other.index_; }

    private:
        const Items* items_;
        std::size_t index_;
    };

    /// The attributes of one child, in document order, repeated ones included.
    class Attributes {
    public:
        Attributes() = default;

        /// Value of the first attribute of that name. Throws std::out_of_range, whose text names
        /// the attribute, when there is none.
        std::string_view at(std::string_view name) const;
        /// The same, or nothing.
        std::optional<std::string_view> find(std::string_view name) const;

        Attribute operator[](std::size_t index) const {
            return children_->attribute(begin_ + index);
        }
        Iterator<Attributes> begin() const { return {*this, 0}; }
        Iterator<Attributes> end() const { return {*this, end_ - begin_}; }

    private:
        friend class LeafChildren;
        Attributes(const LeafChildren& children, std::size_t begin, std::size_t end)
            : children_(&children), begin_(begin), end_(end) {}

        const LeafChildren* children_ = nullptr;
        std::size_t begin_ = 0;
        std::size_t end_ = 0;
    };

    LeafChildren() = default;
    LeafChildren(std::initializer_list<std::map<std::string, std::string>> children);

    bool empty() const { return ends_.empty(); }
    std::size_t size() const { return ends_.size(); }
    /// index: less than the size.
    Attributes operator[](std::size_t index) const {
        return {*this, index == 0 ? 0 : ends_[index - 1], ends_[index]};
    }
    Iterator<LeafChildren> begin() const { return {*this, 0}; }
    Iterator<LeafChildren> end() const { return {*this, size()}; }

    /// Makes room for so many children and attributes in all, with so many bytes of text.
    void reserve(std::size_t children, std::size_t attributes, std::size_t bytes);
    /// Appends a child with a copy of these attributes, each a name and a value. They are not part
    /// of this object.
    template <typename Range>
    void push(const Range& attributes) {
        const std::size_t before = empty() ? 0 : ends_.back();
        const std::size_t previous = size() < 2 ? before : before - ends_[size() - 2];
        for (const auto& [name, value] : attributes)
            append(name, value, previous);
        ends_.push_back(static_cast<std::uint32_t>(attributes_.size()));
    }

private:
    struct Piece {
        std::uint32_t begin;
        std::uint32_t size;
    };
    struct Entry {
        Piece name;
        Piece value;
    };

    std::string_view view(Piece piece) const { return {text_.data() + piece.begin, piece.size}; }
    Attribute attribute(std::size_t index) const {
        return {view(attributes_[index].name), view(attributes_[index].value)};
    }
    void append(std::string_view name, std::string_view value, std::size_t previous);
    Piece append(std::string_view part);

    std::string text_;
    std::vector<Entry> attributes_;   ///< of all children
    std::vector<std::uint32_t> ends_; ///< of each child: where its attributes end
};

} // namespace ovo
