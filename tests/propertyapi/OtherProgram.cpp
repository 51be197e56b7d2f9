// SPDX-License-Identifier: Apache-2.0
#include "OtherProgram.h"

#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

OtherProgram::OtherProgram(const std::string& command, const std::string& file)
    : process_({PROPERTY_CLIENT, command, file}, directory_.path() + "/output") {
    EXPECT_TRUE(waitUntil([this] {
        return readHostFile(directory_.path() + "/output") == "held\n";
    })) << readHostFile(directory_.path() + "/output");
}
