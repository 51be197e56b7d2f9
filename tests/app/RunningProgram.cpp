// SPDX-License-Identifier: Apache-2.0
#include "RunningProgram.h"

#include "support/process/WaitUntil.h"

#include <utility>

RunningProgram::RunningProgram(std::vector<std::string> arguments,
                               std::map<std::string, std::string> environment) {
    arguments.insert(arguments.begin(), APP_UNDER_TEST);
    environment["TEST_LOG"] = "1";
    process_ = std::make_unique<ChildProcess>(std::move(arguments), directory_.path() + "/output",
                                              environment);
}

std::string RunningProgram::output() const {
    return readHostFile(directory_.path() + "/output");
}

bool RunningProgram::waitFor(const std::string& line) const {
    return waitUntil([&] { return hasSaid(line); });
}

bool RunningProgram::hasSaid(const std::string& line) const {
    return output().find(line + "\n") != std::string::npos;
}

void RunningProgram::go() const {
    phone_.write("/go", "");
}
