// SPDX-License-Identifier: Apache-2.0
#include "Arguments.h"
#include "OvoApplication.h"
#include "Vocabulary.h"
#include "logger/Logger.h"

int main(int argc, char** argv) {
    if (const auto status = ovo::answerArguments(argc, argv))
        return *status;
    try {
        LOG(1) << "ovo " OVO_VERSION " is starting";
        ovo::OvoApplication application("OVO", ovo::bus::NAME);
        application.exec();
    } catch (const std::exception& exception) {
        // The phone goes on without provisioning; whoever supervises the process tries again. The
        // location of this line in the log, "main:17", is interface as its text is.
        LOG(3) << exception.what();
    }
    return 0;
}
