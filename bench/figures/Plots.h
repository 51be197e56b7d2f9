// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FigureSet.h"

#include <string>

namespace bench {

/// Time by number of parameters, ours and the reference's, both axes logarithmic: from the figures
/// "run-COUNT-http" and "run-COUNT-https". SVG.
std::string timePlot(const FigureSet& set);
/// Each figure that has a goal as a bar: its value divided by the goal. SVG.
std::string goalsPlot(const FigureSet& set);

} // namespace bench
