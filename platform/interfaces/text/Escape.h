// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// A text that is safe in one line of a terminal or a file: control characters (C0, DEL, C1 and the
/// line separators of Unicode) and bytes that are no UTF-8 are written as \n, \r, \t or \xNN for
/// each byte; the rest stays.
std::string escapeControls(std::string_view text);
/// The same for a text that is put in double quotes: those and backslashes get a backslash.
std::string escapeQuoted(std::string_view text);
