// SPDX-License-Identifier: Apache-2.0
#include "FaultOptions.h"
#include "FaultServer.h"
#include "app/SignalBlock.h"
#include "phone-simulator/Termination.h"
#include "scenario/ScenarioFile.h"

#include <exception>
#include <iostream>
#include <mutex>
#include <optional>
#include <system_error>

namespace {

using simulator::termination::Clock;

int fail(int status, const std::exception& failure) {
    std::cerr << "fault-server: " << failure.what() << "\n";
    return status;
}

void serve(faults::ServeCommand command) {
    const app::SignalBlock signals; // before the first thread
    const auto end =
        command.timeout ? std::optional(Clock::now() + *command.timeout) : std::nullopt;
    std::mutex output; // one line at a time
    const auto print = [&output](const std::string& line) {
        const std::lock_guard lock(output);
        // Without a reader nobody needs the server.
        if (std::cout && !(std::cout << line << std::endl))
            simulator::termination::request();
    };
    std::unique_lock first(output); // no request before the address
    const faults::FaultServer server(std::move(command.answers), print, command.port,
                                     std::move(command.tls));
    std::cout << server.url() << std::endl;
    first.unlock();
    simulator::termination::waitUntil(end);
}

int run(int argc, const char* const* argv) {
    constexpr int FINE = 0;
    constexpr int MISUSE = 2;
    constexpr int IMPOSSIBLE = 3;
    try {
        faults::Command command = faults::parseCommandLine(argc, argv);
        if (const auto* help = std::get_if<faults::HelpCommand>(&command)) {
            std::cout << help->text << std::flush;
            return FINE;
        }
        serve(std::move(std::get<faults::ServeCommand>(command)));
        return FINE;
    } catch (const faults::CommandLineError& error) {
        return fail(MISUSE, error);
    } catch (const scenario::ScenarioError& error) {
        return fail(MISUSE, error);
    } catch (const std::exception& error) {
        return fail(IMPOSSIBLE, error);
    }
}

} // namespace

int main(int argc, char** argv) {
    return run(argc, argv);
}
