// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

/// The application under test as a process, on a phone root of its own. Its log lines ("LEVEL
/// SOURCE:LINE TEXT") and what it says itself are in output().
class RunningProgram {
public:
    /// environment: added to the test's.
    explicit RunningProgram(std::vector<std::string> arguments,
                            std::map<std::string, std::string> environment = {});

    ChildProcess& process() { return *process_; }
    const PhoneRoot& phone() const { return phone_; }
    std::string output() const;
    /// Waits until the output has this line, or a log line that ends in it.
    bool waitFor(const std::string& line) const;
    bool hasSaid(const std::string& line) const;
    /// Lets go on what waits.
    void go() const;

private:
    const PhoneRoot phone_;
    const TemporaryDirectory directory_;
    std::unique_ptr<ChildProcess> process_;
};
