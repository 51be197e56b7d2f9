// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <json/value.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// A "phone-simulator run --json" for the phone of the test, ready when the object is made: it is
/// connected to the bus and sees changes of the store. It needs a broker at the phone's address.
class SimulatorProcess {
public:
    explicit SimulatorProcess(std::vector<std::string> arguments = {});

    /// Everything that it printed so far, on both outputs.
    std::string output() const;
    std::vector<Json::Value> events() const;
    /// Waits for an event of that kind and name; null when it does not come.
    Json::Value waitForEvent(const std::string& kind, const std::string& name) const;
    ChildProcess& process() { return process_; }

private:
    std::string outputFile() const { return directory_.path() + "/output"; }

    TemporaryDirectory directory_;
    ChildProcess process_;
};

/// One JSON text; null when it is none.
Json::Value parsed(const std::string& text);
