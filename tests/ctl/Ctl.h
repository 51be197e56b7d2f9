// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/process/ChildProcess.h"

#include <map>
#include <string>
#include <vector>

/// What a run of the program came to.
struct CtlResult {
    int status;
    std::string output;
    std::string errors;
};

/// Runs ovoctl to its end.
CtlResult ctl(const std::vector<std::string>& arguments,
              const std::map<std::string, std::string>& environment = {});
/// Runs a line of the shell, in which "$OVOCTL" is the program and errors go to a file of their
/// own.
CtlResult shell(const std::string& line,
                const std::map<std::string, std::string>& environment = {});
