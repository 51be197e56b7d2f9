// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/RunMonitor.h"

#include "ProvisioningWatchdog/RunReport.h"
#include "support/ipc/FakeIpcClient.h"

#include <gmock/gmock.h>

#include <memory>
#include <thread>

namespace {

using namespace std::chrono_literals;

class RunMonitorTest : public testing::Test {
protected:
    RunMonitorTest() { client.setConnected(true); }

    Json::Value last() const { return client.published().back().message.params.parameters(); }
    std::size_t count() const { return client.published().size(); }

    FakeIpcClient client;
    ovo::RunMonitor::Clock::time_point time{};
    ovo::RunReport report{std::make_unique<ovo::RunMonitor>(client, [this] { return time; })};
    const http::UrlInfo url{"http://user:pa55word@h/p.xml"};
};

TEST_F(RunMonitorTest, TellsWhereTheRunIs) {
    report.begin("http://h/p.xml");
    report.fileBegins(url);
    ASSERT_EQ(count(), 1U);
    EXPECT_EQ(client.published()[0].destination, "prov-client/monitor");
    EXPECT_EQ(client.published()[0].message.name, "provisioningProgress");
    EXPECT_EQ(last()["file"], "http://h/p.xml");
    EXPECT_EQ(last()["element"], "");
    EXPECT_EQ(last()["job"], "");
    time += 250ms;
    report.progress(5'000'000'000, 6'000'000'000);
    EXPECT_EQ(last()["bytes"], Json::Int64{5'000'000'000});
    EXPECT_EQ(last()["total"], Json::Int64{6'000'000'000});
    time += 250ms;
    report.jobBegins("settings");
    report.jobIs("NVMJobHandler");
    ASSERT_EQ(count(), 3U);
    EXPECT_EQ(last()["element"], "settings");
    EXPECT_EQ(last()["job"], "NVMJobHandler");
    EXPECT_EQ(last()["bytes"], 0);
    time += 250ms;
    report.fileBegins(http::UrlInfo("http://h/q.xml"));
    EXPECT_EQ(last()["file"], "http://h/q.xml");
    EXPECT_EQ(last()["element"], "");
    EXPECT_EQ(last()["job"], "");
}

TEST_F(RunMonitorTest, TellsAtMostFourTimesASecond) {
    report.begin("http://h/p.xml");
    for (int i = 0; i < 10'000; ++i) { // a millisecond each
        report.fileBegins(url);
        report.progress(i, 10'000);
        time += 1ms;
    }
    EXPECT_EQ(count(), 40U);
}

TEST_F(RunMonitorTest, TellsNothingWhileTheBusIsAway) {
    client.setConnected(false);
    report.begin("http://h/p.xml");
    report.fileBegins(url);
    EXPECT_EQ(count(), 0U);
    client.setConnected(true);
    report.progress(1, 2);
    EXPECT_EQ(count(), 1U);
}

TEST_F(RunMonitorTest, TransfersOfOtherThreadsAndBetweenRunsAreNotTheRuns) {
    report.progress(1, 2);
    report.begin("http://h/p.xml");
    report.progress(1, 2);
    EXPECT_EQ(count(), 0U) << "no file has begun";
    report.fileBegins(url);
    time += 1s;
    std::thread([&] { report.progress(1, 2); }).join();
    EXPECT_EQ(count(), 1U);
    report.end(ovo::ProvisioningStatus::Success, 200);
    report.progress(1, 2);
    EXPECT_EQ(count(), 1U);
}

TEST_F(RunMonitorTest, LongNamesOfAFileAreCut) {
    report.begin("http://h/p.xml");
    report.fileBegins(http::UrlInfo("http://h/" + std::string(100'000, 'q')));
    EXPECT_LT(last()["file"].asString().size(), 2200U);
}

} // namespace
