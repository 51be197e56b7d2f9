// SPDX-License-Identifier: Apache-2.0
#include "Arguments.h"

#include "text/Quote.h"

#include <iostream>
#include <string>

namespace ovo {

namespace {

constexpr char VERSION[] = "ovo " OVO_VERSION "\n";
constexpr char HELP[] = R"(usage: ovo [--help | --version]

The provisioning manager of a desk telephone: fetches provisioning files and applies them, when it
is asked to over the message bus or the property store, at boot, and by time. Runs until SIGTERM,
SIGINT or SIGHUP and writes its log to standard error.

Environment:
  HALDEN_ROOT  directory below which every path of the phone lies (default: /)
  HALDEN_BUS   message bus, unix:PATH or tcp:HOST:PORT
               (default: unix:$HALDEN_ROOT/run/halden/bus.sock)
  HALDEN_LOG   lowest level logged: 1 progress, 2 notable, 3 failure (default: 1)
)";

int print(const char* text) {
    std::cout << text << std::flush;
    return std::cout ? 0 : 1;
}

} // namespace

std::optional<int> answerArguments(int argc, char** argv) {
    if (argc < 2)
        return std::nullopt;
    const std::string first = argv[1];
    const char* const answer =
        first == "--help" ? HELP : (first == "--version" ? VERSION : nullptr);
    if (answer != nullptr && argc == 2)
        return print(answer);
    std::cerr << "ovo: unexpected argument " << quote(answer == nullptr ? first : argv[2])
              << "; see ovo --help\n";
    return 2;
}

} // namespace ovo
