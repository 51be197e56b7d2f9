// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventPrinter.h"
#include "NeighbourScenario.h"
#include "NeighbourTable.h"

#include <chrono>
#include <optional>
#include <set>
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

/// Help or the version was requested; the text is what to print.
struct HelpCommand {
    std::string text;
};

using Command = std::variant<RunCommand, TriggerCommand, BusyCommand, HelpCommand>;

/// Reads the program's arguments, and the scenario that they name. Throws ovoctl::Misuse.
Command parseCommandLine(int argc, const char* const* argv);

} // namespace simulator
