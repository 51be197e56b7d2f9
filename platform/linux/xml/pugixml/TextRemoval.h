#ifndef XML_PUGIXML_TEXTREMOVAL_H
#define XML_PUGIXML_TEXTREMOVAL_H

#include <string>

namespace common::xml {

/// Overwrites with blanks what is no tag in a well-formed document: text, character data, comments,
/// processing instructions. The library would make a node of 64 bytes for each piece of text, and a
/// piece may be as short as a byte.
void removeText(std::string& document);

} // namespace common::xml

#endif
