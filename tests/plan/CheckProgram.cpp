// SPDX-License-Identifier: Apache-2.0
#include "CheckProgram.h"

#include "support/process/ChildProcess.h"

#include <gtest/gtest.h>
#include <json/reader.h>

#include <sstream>

namespace checkprogram {

Checked check(const std::string& root, const std::set<std::string>& names) {
    std::vector<std::string> command = {CHECK_PROGRAM, "check",  "--json", "--allow",
                                        "plain",       "--root", root};
    command.insert(command.end(), names.begin(), names.end());
    const Finished finished = run(command);
    Checked checked{finished.status, finished.output, {}};
    std::istringstream lines(finished.output);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("{"))
            continue;
        Json::Value object;
        std::istringstream text(line);
        EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), text, &object, nullptr))
            << line;
        checked.findings[object["file"].asString()].push_back(
            {{object["line"].asUInt(), object["column"].asUInt()},
             object["level"].asString(),
             object["rule"].asString(),
             object["sentence"].asString()});
    }
    return checked;
}

} // namespace checkprogram
