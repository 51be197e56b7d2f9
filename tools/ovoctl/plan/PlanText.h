// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Plan.h"

#include <ostream>

namespace ovoctl {

/// A plan for people. all: each parameter; otherwise many of a job that would stay as they are
/// become one line.
void printText(const Plan& plan, bool all, std::ostream& output);

} // namespace ovoctl
