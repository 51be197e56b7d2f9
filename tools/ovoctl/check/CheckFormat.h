// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CheckRun.h"

#include <ostream>
#include <string>
#include <vector>

namespace ovoctl::check {

/// FILE:LINE:COLUMN: LEVEL: RULE: SENTENCE, a line for each finding.
void writeText(std::ostream& output, const std::vector<FileResult>& results);
/// A JSON object a line for each finding, with the members file, line, column, level, rule and
/// sentence.
void writeJson(std::ostream& output, const std::vector<FileResult>& results);
/// One SARIF 2.1.0 log.
void writeSarif(std::ostream& output, const std::vector<FileResult>& results);
/// NAME LEVEL SENTENCE, a line for each rule; or a JSON object a line.
void writeRules(std::ostream& output, bool isJson);

} // namespace ovoctl::check
