// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CommandLine.h"

#include <ostream>

namespace simulator {

/// Carries out the commands, printing events to an output. Each returns the exit status; failures
/// are thrown as std::exception. SIGTERM and SIGINT end "run" in order; they must not be blocked
/// before.
class Simulator {
public:
    explicit Simulator(std::ostream& output);

    int operator()(const RunCommand& command) const;
    int operator()(const TriggerCommand& command) const;
    int operator()(const BusyCommand& command) const;
    int operator()(const HelpCommand& command) const;

private:
    std::ostream& output_;
};

} // namespace simulator
