// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Plan.h"

#include <ostream>

namespace ovoctl {

/// A plan as one JSON object on one line, whole; docs/planning.md has its shape. It is written
/// piece by piece: a tree of 100,000 parameters would cost much memory.
void printJson(const Plan& plan, std::ostream& output);

} // namespace ovoctl
