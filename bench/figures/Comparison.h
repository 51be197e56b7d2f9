// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FigureSet.h"

#include <string>
#include <vector>

namespace bench {

/// A sentence for each figure that is worse than before. Only what does not depend on the machine
/// is compared: counts, and ratios within one run, each with its tolerance. A figure that one of
/// the two lacks is passed over.
std::vector<std::string> regressions(const FigureSet& before, const FigureSet& now);

} // namespace bench
