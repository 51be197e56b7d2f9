// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Answer.h"
#include "TlsWire.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace faults {

/// What the server is to be.
struct ServeCommand {
    std::vector<Answer> answers;
    std::uint16_t port = 0; ///< 0: a free one
    std::optional<TlsWire::Settings> tls;
    std::optional<std::chrono::milliseconds> timeout;
};

/// Help was requested; the text is the help.
struct HelpCommand {
    std::string text;
};

using Command = std::variant<ServeCommand, HelpCommand>;

/// A wrong command line; the text says why, in one line.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the program's arguments and the files that they name. Throws CommandLineError and
/// scenario::ScenarioError.
Command parseCommandLine(int argc, const char* const* argv);

} // namespace faults
