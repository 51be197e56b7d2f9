// SPDX-License-Identifier: Apache-2.0
// The work of the daemon with its libraries alone, as the floor of what is measured. Requests come
// over the bus: "run URL", "get URL", "write KEY VALUE" (answered with the time of the commit in ns
// of the steady clock), "trim", "ping".

#include "RawRun.h"
#include "ReferenceBus.h"

#include <malloc.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

std::string handle(RawRun& raw, const std::string& request) {
    std::istringstream words(request);
    std::string command;
    std::string subject;
    std::string value;
    words >> command >> subject >> value;
    if (command == "run")
        raw.run(subject);
    else if (command == "get")
        raw.get(subject);
    else if (command == "write")
        raw.write(subject, value);
    else if (command == "trim")
        ::malloc_trim(0);
    else if (command != "ping")
        return "error: unknown request";
    return std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: %s BUS-SOCKET KEY-FILE DATABASE CA-BUNDLE\n", argv[0]);
        return 2;
    }
    try {
        std::string password;
        std::ifstream key(argv[2]);
        std::getline(key, password);
        RawRun raw(argv[3], password, argv[4]);
        ReferenceBus bus(argv[1], [&raw](const std::string& request) {
            try {
                return handle(raw, request);
            } catch (const std::exception& exception) {
                return std::string("error: ") + exception.what();
            }
        });
        bus.serve();
        return 0;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s: %s\n", argv[0], exception.what());
        return 1;
    }
}
