// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Scanner.h"

namespace common::xml {

/// The encodings that are read.
enum class Encoding { Utf8, UsAscii };

/// Passes the byte order mark and the XML declaration that a document may begin with, and returns
/// its encoding: UTF-8 where none is named. Refuses with XmlException a malformed declaration, a
/// version that is not "1." and digits (all are read as 1.0), and every other encoding, by its
/// name.
Encoding passDeclaration(Scanner& document);

} // namespace common::xml
