// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// "doctor": looks at everything that provisioning needs.
void addDoctorCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
