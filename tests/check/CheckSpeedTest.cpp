// SPDX-License-Identifier: Apache-2.0
#include "CheckFixture.h"
#include "support/process/ChildProcess.h"
#include "support/process/Sanitizers.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>

namespace {

using CheckSpeed = CheckFixture;

/// Runs the program with so much room for its memory: 256 MiB, and what it takes before it begins.
Finished checkWithin(const std::string& argument, std::chrono::seconds longest) {
    const auto begin = std::chrono::steady_clock::now();
    const Finished finished = run(
        {"sh", "-c", R"(ulimit -v 393216; exec "$0" check --allow plain "$1")", OVOCTL, argument});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, longest);
    return finished;
}

TEST_F(CheckSpeed, TenThousandFilesTakeSeconds) {
    for (int file = 0; file < 10000; ++file) {
        std::string content = "<nvm version='1.1'><settings>";
        for (int key = 0; key < 20; ++key)
            content += "<param name='Some.Key." + std::to_string(key) + "' value='v'/>\n";
        write("tree/" + std::to_string(file % 100) + "/" + std::to_string(file) + ".xml",
              content + "</settings></nvm>");
    }
    const Finished finished = checkWithin(path("tree"), std::chrono::seconds(20));
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.status, 0);
}

TEST_F(CheckSpeed, AHundredThousandParametersTakeSecondsAndLittleMemory) {
    for (const std::string prefix : {"Some.Key.", "PhoneUI.Keys.FunctionKeys.x."}) {
        std::string content = "<settings version='1.1'>";
        for (int key = 0; key < 100000; ++key)
            content += "<param name='" + prefix + std::to_string(key) + "' value='v'/>";
        write("file.xml", content + "</settings>");
        const Finished finished = checkWithin(path("file.xml"), std::chrono::seconds(20));
        const bool isRefused = prefix != "Some.Key.";
        EXPECT_EQ(std::count(finished.output.begin(), finished.output.end(), '\n'),
                  isRefused ? 100000 : 0);
        EXPECT_EQ(finished.status, isRefused ? 1 : 0);
    }
}

} // namespace
