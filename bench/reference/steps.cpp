// SPDX-License-Identifier: Apache-2.0
// The work of a run with the steps that the platform asks of every daemon, with the libraries
// alone. Serves until SIGTERM.

#include "RequiredSteps.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>

int main(int argc, char** argv) {
    if (argc != 8) {
        std::fprintf(
            stderr,
            "usage: %s BUS-SOCKET KEY-FILE DATABASE CA-BUNDLE DIRECTORY LOCK-FILE CONFIGURATION\n",
            argv[0]);
        return 2;
    }
    try {
        sigset_t end;
        ::sigemptyset(&end);
        ::sigaddset(&end, SIGTERM);
        ::pthread_sigmask(SIG_BLOCK, &end, nullptr); // of the threads made from now on, too
        std::string password;
        std::ifstream key(argv[2]);
        std::getline(key, password);
        const RequiredSteps steps({argv[1], password, argv[3], argv[4], argv[5], argv[6], argv[7]});
        int signal = 0;
        ::sigwait(&end, &signal);
        return 0;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s: %s\n", argv[0], exception.what());
        return 1;
    }
}
