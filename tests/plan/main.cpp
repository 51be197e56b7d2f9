// SPDX-License-Identifier: Apache-2.0
// The subcommand as a program of its own.
#include "ovoctl/Failure.h"
#include "ovoctl/Outcome.h"
#include "ovoctl/plan/PlanCommand.h"

#include <exception>
#include <iostream>

namespace {

int fail(const std::exception& exception, ovoctl::Outcome outcome) {
    std::cerr << "ovoctl: " << exception.what() << "\n";
    return static_cast<int>(outcome);
}

} // namespace

int main(int argc, char** argv) {
    ovoctl::Outcome outcome = ovoctl::Outcome::FINE;
    CLI::App app("Test driver", "ovoctl");
    app.require_subcommand(1);
    ovoctl::addPlanCommand(app, outcome);
    try {
        app.parse(argc, argv);
        return static_cast<int>(outcome);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return 0;
    } catch (const CLI::ParseError& error) {
        return fail(error, ovoctl::Outcome::MISUSE);
    } catch (const ovoctl::Misuse& misuse) {
        return fail(misuse, ovoctl::Outcome::MISUSE);
    } catch (const std::exception& failure) {
        return fail(failure, ovoctl::Outcome::UNASKABLE);
    }
}
