#ifndef XML_REFUSAL_H
#define XML_REFUSAL_H

#include "xml/Xml.h"

#include <string>
#include <utility>

/// Why a document is refused.
inline std::string refusalOf(std::string text) {
    try {
        common::xml::parse(std::move(text));
    } catch (const common::xml::XmlException& exception) {
        return exception.what();
    }
    return "not refused";
}

#endif
