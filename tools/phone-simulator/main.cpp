// SPDX-License-Identifier: Apache-2.0
#include "CommandLine.h"
#include "Simulator.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <variant>

int main(int argc, char** argv) {
    // Progress lines of the libraries would mix with the events.
    ::setenv("HALDEN_LOG", "2", 0);
    constexpr int FAILED = 2;
    try {
        return std::visit(simulator::Simulator(std::cout), simulator::parseCommandLine(argc, argv));
    } catch (const std::exception& exception) {
        std::cerr << "phone-simulator: " << exception.what() << "\n";
        return FAILED;
    }
}
