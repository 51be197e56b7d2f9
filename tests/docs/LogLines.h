// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CppTokens.h"

#include <string>
#include <vector>

/// What a log statement writes: its fixed text, with "…" for each part that varies.
struct LogLine {
    int level = 0;      ///< 0: cannot be read from the statement
    std::string source; ///< as the log names it: "Utils" for "src/Utils.cpp"
    std::string text;
    std::string where; ///< FILE:LINE of the statement
};

/// The lines of level 2 and 3 that the statements of a source can write, and those whose level
/// cannot be told. A statement whose fixed text depends on a condition gives one for each text; a
/// part that may be missing counts as there. Where a statement writes notes that were taken before
/// (LOG(note.level)), the lines are the notes, {LEVEL, TEXT}, of the same source.
std::vector<LogLine> logLinesOf(const std::string& file, const CppTokens& tokens);
