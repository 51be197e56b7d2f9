// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Answer.h"
#include "TlsWire.h"

#include <chrono>
#include <cstdint>
#include <optional>
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

/// Help or the version was requested; the text is what to print.
struct HelpCommand {
    std::string text;
};

using Command = std::variant<ServeCommand, HelpCommand>;

/// Reads the program's arguments and the files that they name. Throws ovoctl::Misuse.
Command parseCommandLine(int argc, const char* const* argv);

} // namespace faults
