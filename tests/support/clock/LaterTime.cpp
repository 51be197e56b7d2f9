// SPDX-License-Identifier: Apache-2.0
#include "LaterTime.h"

#include <ctime>

std::map<std::string, std::string> laterBy(std::chrono::seconds difference) {
    std::map<std::string, std::string> environment{
        {"LATER_BY", std::to_string(difference.count())}};
    // The emulator is a program of the machine's own kind and cannot load the library itself.
    if (IS_EMULATED)
        environment["QEMU_SET_ENV"] = std::string("LD_PRELOAD=") + LATER_CLOCK;
    else
        environment["LD_PRELOAD"] = LATER_CLOCK;
    return environment;
}

std::chrono::seconds untilYear2041() {
    constexpr std::time_t MARCH_2041 = 2'246'400'000;
    return std::chrono::seconds(MARCH_2041 - std::time(nullptr));
}
