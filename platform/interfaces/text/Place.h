// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

/// A place in a text in UTF-8. Lines end at LF, CR LF or CR; columns count characters; both begin
/// with 1.
struct Place {
    std::size_t line = 1;
    std::size_t column = 1;

    bool operator==(const Place& other) const = default;
};

/// Tells the places of offsets, in bytes, that only grow: in one pass over the text, however many
/// are asked for. A byte order mark takes no column.
class PlaceFinder {
public:
    /// text: outlives the finder.
    explicit PlaceFinder(std::string_view text);

    /// offset: not before the one asked for last; one after the end counts as the end.
    Place at(std::size_t offset);

private:
    std::string_view text_;
    std::size_t passed_ = 0;
    Place place_;
};
