// SPDX-License-Identifier: Apache-2.0
#include "CheckCommand.h"
#include "NewCommand.h"
#include "ovoctl/Failure.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

namespace {

int fail(const std::exception& exception, ovoctl::Outcome outcome) {
    std::cerr << "ovoctl: " << exception.what() << "\n";
    return static_cast<int>(outcome);
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Tools around provisioning.", "ovoctl");
    app.require_subcommand(1);
    ovoctl::Outcome outcome = ovoctl::Outcome::FINE;
    ovoctl::addCheckCommand(app, outcome);
    ovoctl::addNewCommand(app, outcome);
    try {
        app.parse(argc, argv);
        return static_cast<int>(outcome);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return 0;
    } catch (const ovoctl::Unaskable& exception) {
        return fail(exception, ovoctl::Outcome::UNASKABLE);
    } catch (const std::exception& exception) {
        return fail(exception, ovoctl::Outcome::MISUSE);
    }
}
