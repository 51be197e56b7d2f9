#ifndef XML_PUGIXML_WELLFORMEDNESS_H
#define XML_PUGIXML_WELLFORMEDNESS_H

#include <cstddef>
#include <string>
#include <string_view>

namespace common::xml {

/// Refuses with XmlException what pugixml would let pass or report without a name: everything that
/// is not well-formed by XML 1.0, invalid UTF-8, a document type declaration, and nesting deeper
/// than MAX_DEPTH. Two things are let pass on purpose: a repeated attribute, and a reference to an
/// entity that nobody declared, which stays in the value as written. Not recursive; constant
/// memory.
void checkWellFormed(std::string_view text);

/// Throws XmlException "line L, column C: WHAT" for a place in the text. Lines end at LF, CR LF or
/// CR; columns count characters; both begin with 1.
[[noreturn]] void refuseAt(std::string_view text, std::size_t offset, const std::string& what);

} // namespace common::xml

#endif
