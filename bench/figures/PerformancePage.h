// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FigureSet.h"

#include <string>

namespace bench {

/// The table as text of Markdown: a line for each figure, with its goal and whether that is
/// reached.
std::string tableOf(const FigureSet& set);

/// The page with its generated part made anew: what stands between the two comments. All else is
/// written by hand and stays. Throws std::runtime_error when a comment is missing.
std::string pageWith(const std::string& page, const FigureSet& set);

} // namespace bench
