// SPDX-License-Identifier: Apache-2.0
#include "SharedStore.h"

#include "support/process/ChildProcess.h"

#include <gtest/gtest.h>

std::string SharedStore::shell(const std::string& statements) const {
    Finished finished = run({"sqlite3", file(), statements});
    EXPECT_EQ(finished.status, 0) << statements << "\n" << finished.output;
    if (!finished.output.empty() && finished.output.back() == '\n')
        finished.output.pop_back();
    return finished.output;
}

std::string SharedStore::makeAnother(const std::string& statements) const {
    std::string path = file() + ".another";
    const Finished finished =
        run({"sh", "-c", "umask 077 && sqlite3 \"$0\" \"$1\"", path, statements});
    EXPECT_EQ(finished.status, 0) << statements << "\n" << finished.output;
    return path;
}
