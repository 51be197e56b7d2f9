// SPDX-License-Identifier: Apache-2.0
#include "ovoctl/CommandTree.h"
#include "program/CommandLineText.h"
#include "program/ProgramRun.h"

#include <CLI/CLI.hpp>
#include <iostream>

int main(int argc, char** argv) {
    return program::run("ovoctl", [argc, argv] {
        ovoctl::Outcome outcome = ovoctl::Outcome::FINE;
        CLI::App app("Ask and operate the phone's provisioning manager, and check files for it.",
                     "ovoctl");
        ovoctl::addCommands(app, outcome);
        if (const auto text = program::parse(app, argc, argv))
            std::cout << *text;
        return outcome;
    });
}
