// SPDX-License-Identifier: Apache-2.0
#include "FaultOptions.h"
#include "FaultServer.h"
#include "app/SignalBlock.h"
#include "phone-simulator/Termination.h"
#include "program/LineOutput.h"
#include "program/ProgramRun.h"

#include <iostream>
#include <latch>
#include <optional>
#include <utility>
#include <variant>

namespace {

using ovoctl::Outcome;
using simulator::termination::Clock;

void serve(faults::ServeCommand command) {
    const app::SignalBlock signals; // before the first thread
    const auto end =
        command.timeout ? std::optional(Clock::now() + *command.timeout) : std::nullopt;
    // Without a reader nobody needs the server.
    program::LineOutput lines(std::cout, simulator::termination::request);
    std::latch address(1); // no request before the address
    const auto print = [&](const std::string& line) {
        address.wait();
        lines.write(line);
    };
    const faults::FaultServer server(std::move(command.answers), print, command.port,
                                     std::move(command.tls));
    lines.write(server.url());
    address.count_down();
    simulator::termination::waitUntil(end);
    lines.check();
}

Outcome run(int argc, const char* const* argv) {
    faults::Command command = faults::parseCommandLine(argc, argv);
    if (const auto* help = std::get_if<faults::HelpCommand>(&command))
        std::cout << help->text;
    else
        serve(std::move(std::get<faults::ServeCommand>(command)));
    return Outcome::FINE;
}

} // namespace

int main(int argc, char** argv) {
    return program::run("fault-server", [argc, argv] { return run(argc, argv); });
}
