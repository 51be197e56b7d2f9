// SPDX-License-Identifier: Apache-2.0
#include "LockHolder.h"

#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

LockHolder::LockHolder(const std::string& file, Make make)
    : process_({PROPERTY_CLIENT, make == Make::STORE ? "make-and-hold" : "hold", file},
               directory_.path() + "/output") {
    EXPECT_TRUE(waitUntil([this] {
        return readHostFile(directory_.path() + "/output") == "held\n";
    })) << readHostFile(directory_.path() + "/output");
}
