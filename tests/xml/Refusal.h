// SPDX-License-Identifier: Apache-2.0
#pragma once

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
