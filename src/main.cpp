// SPDX-License-Identifier: Apache-2.0
#include "Arguments.h"
#include "OvoApplication.h"
#include "logger/Logger.h"

int main(int argc, char** argv) {
    if (const auto status = ovo::answerArguments(argc, argv))
        return *status;
    try {
        LOG(1) << "ovo " OVO_VERSION " is starting";
        // The name in log lines, and the name on the bus.
        ovo::OvoApplication application("OVO", "prov-client");
        application.exec();
    } catch (const std::exception& exception) {
        // The phone goes on without provisioning. The start is not tried again: its obstacle would
        // still be there. The line's place in the log, "main:17", is interface as its text is.
        LOG(3) << exception.what();
    }
    return 0;
}
