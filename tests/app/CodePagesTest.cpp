// SPDX-License-Identifier: Apache-2.0
#include "app/CodePages.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

namespace {

/// The part of this process's memory that files are behind, in KiB.
long residentOfFiles() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("RssFile:", 0) == 0)
            return std::stol(line.substr(8));
    return -1;
}

TEST(CodePages, AreTakenOutOfMemoryAndComeBackAsTheyAreTouched) {
    const long before = residentOfFiles();
    app::unmapCodePages();
    const long after = residentOfFiles();
    EXPECT_GT(after, 0);
    EXPECT_LT(after, before / 2);
}

TEST(CodePages, ThreadsRunOnMeanwhile) {
    std::atomic<bool> end = false;
    std::atomic<std::size_t> rounds = 0;
    std::jthread other([&] {
        while (!end) {
            EXPECT_EQ(std::to_string(rounds), std::to_string(rounds.load()));
            ++rounds;
        }
    });
    for (int i = 0; i < 100; ++i)
        app::unmapCodePages();
    const std::size_t sofar = rounds;
    while (rounds < sofar + 10)
        std::this_thread::yield();
    end = true;
}

} // namespace
