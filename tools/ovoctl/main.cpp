// SPDX-License-Identifier: Apache-2.0
#include "ovoctl/CommandTree.h"
#include "ovoctl/Failure.h"
#include "ovoctl/Outcome.h"
#include "ovoctl/Output.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

namespace {

using ovoctl::Outcome;

Outcome fail(Outcome outcome, const std::exception& failure) {
    std::cerr << "ovoctl: " << failure.what() << "\n";
    return outcome;
}

Outcome run(int argc, const char* const* argv) {
    Outcome outcome = Outcome::FINE;
    try {
        ovoctl::Output output;
        CLI::App app("Ask and operate the phone's provisioning manager, and check files for it.",
                     "ovoctl");
        ovoctl::addCommands(app, outcome);
        try {
            ovoctl::runCommand(app, argc, argv);
        } catch (const ovoctl::Misuse&) {
            output.flush();
            throw;
        }
        output.flush();
        return outcome;
    } catch (const ovoctl::ReaderLeft&) {
        return outcome;
    } catch (const ovoctl::Misuse& misuse) {
        return fail(Outcome::MISUSE, misuse);
    } catch (const std::exception& failure) {
        return fail(Outcome::UNASKABLE, failure);
    }
}

} // namespace

int main(int argc, char** argv) {
    return static_cast<int>(run(argc, argv));
}
