// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventPrinter.h"
#include "NeighbourScenario.h"
#include "NeighbourTable.h"

#include <chrono>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace simulator {

/// "run": the neighbours run until they are told to end.
struct RunCommand {
    EventPrinter::Format format = EventPrinter::Format::TEXT;
    std::optional<Credentials> credentials;
    std::set<std::string> notReady;
    std::chrono::milliseconds readyAfter{0};
    std::set<std::string> silent;
    std::vector<std::string> watchedKeys; ///< empty: the usual ones
    bool acceptsPending = false;          ///< the user accepts every certificate
    bool refusesFirmware = false;
    std::optional<std::chrono::milliseconds> timeout;
    std::vector<Behaviour> scenario;
};

/// "trigger": asks the daemon for a run.
struct TriggerCommand {
    EventPrinter::Format format = EventPrinter::Format::TEXT;
    std::string url;
    std::string sender;
    bool wantsAnswer = false;
    std::chrono::milliseconds timeout{0};
};

/// "busy": asks the daemon whether a run is in progress.
struct BusyCommand {
    EventPrinter::Format format = EventPrinter::Format::TEXT;
    std::string sender;
    std::chrono::milliseconds timeout{0};
};

/// Help was requested; the text is the help.
struct HelpCommand {
    std::string text;
};

using Command = std::variant<RunCommand, TriggerCommand, BusyCommand, HelpCommand>;

/// A wrong command line; the text says why, in one line.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the program's arguments, and the scenario that they name. Throws CommandLineError and
/// scenario::ScenarioError.
Command parseCommandLine(int argc, const char* const* argv);

} // namespace simulator
