// SPDX-License-Identifier: Apache-2.0
#include "CommandLine.h"
#include "Simulator.h"
#include "program/ProgramRun.h"

#include <cstdlib>
#include <iostream>
#include <variant>

int main(int argc, char** argv) {
    // Progress lines of the libraries would mix with the events.
    ::setenv("HALDEN_LOG", "2", 0);
    return program::run("phone-simulator", [argc, argv] {
        return std::visit(simulator::Simulator(std::cout), simulator::parseCommandLine(argc, argv));
    });
}
