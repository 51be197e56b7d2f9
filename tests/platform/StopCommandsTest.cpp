// SPDX-License-Identifier: Apache-2.0
#include "os/Execute.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <future>
#include <vector>

namespace {

// One test, in a program of its own: it is for good.
TEST(EndCommands, KillsThoseThatRunAndEveryLaterOne) {
    const PhoneRoot phone;
    const LogRecorder log;
    phone.write("/tool", "#!/bin/sh\n: > \"$1\"\nsleep 60\n");
    ASSERT_EQ(::chmod(phone.host("/tool").c_str(), 0755), 0);
    const auto executed = [&](const std::string& name) {
        return std::async(std::launch::async, [&phone, name] {
            return os::execute("/tool " + phone.host(name), 50000);
        });
    };
    std::vector<std::future<int>> running;
    running.push_back(executed("/one"));
    running.push_back(executed("/two"));
    ASSERT_TRUE(waitUntil([&] { return phone.exists("/one") && phone.exists("/two"); }));

    const auto begin = std::chrono::steady_clock::now();
    os::stopCommands();
    os::stopCommands();
    for (std::future<int>& command : running)
        EXPECT_EQ(command.get(), -1);
    EXPECT_EQ(executed("/three").get(), -1);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    EXPECT_EQ(log.count(2, "Command /tool was killed: the process is ending"), 3U);
}

} // namespace
