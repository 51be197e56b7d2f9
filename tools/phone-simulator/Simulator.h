// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CommandLine.h"
#include "ovoctl/Outcome.h"

#include <ostream>

namespace simulator {

/// Carries out the commands, printing events to an output. Failures are thrown as std::exception,
/// ovoctl::Misuse among them. SIGTERM and SIGINT end "run" in order; they must not be blocked
/// before.
class Simulator {
public:
    explicit Simulator(std::ostream& output);

    ovoctl::Outcome operator()(const RunCommand& command) const;
    ovoctl::Outcome operator()(const TriggerCommand& command) const;
    ovoctl::Outcome operator()(const BusyCommand& command) const;
    ovoctl::Outcome operator()(const HelpCommand& command) const;

private:
    std::ostream& output_;
};

} // namespace simulator
