// SPDX-License-Identifier: Apache-2.0
#include "NotifySocket.h"
#include "RecordingApplication.h"
#include "support/ipc/FakeIpcClient.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"
#include "systemd/Service.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Message = std::optional<std::string>;

/// Does what it is told when the request table is handed over.
struct BusWithActivation : FakeIpcClient {
    explicit BusWithActivation(std::function<void()> action) : onActivate(std::move(action)) {}
    void activate(ipc::HandlersMap handlers, ipc::ProceduresMap procedures) override {
        onActivate();
        FakeIpcClient::activate(std::move(handlers), std::move(procedures));
    }
    const std::function<void()> onActivate;
};

class Watchdog : public testing::Test {
protected:
    const PhoneRoot phone;
    LogRecorder log;
};

TEST_F(Watchdog, ReadinessIsToldAfterTheRequestTableIsActiveAndBeforeTheWait) {
    const NotifySocket systemd;
    RecordingApplication application;
    Message beforeActivation;
    Message beforeWait;
    application.hooks.makeIpcClient = [&] {
        return std::make_shared<BusWithActivation>([&] {
            application.note("activate");
            beforeActivation = systemd.next(0ms);
        });
    };
    application.hooks.waitForTermination = [&] {
        beforeWait = systemd.next(0ms);
        application.signalTermination();
    };
    application.exec();
    EXPECT_TRUE(application.wasCalled("activate"));
    EXPECT_EQ(beforeActivation, std::nullopt);
    EXPECT_EQ(beforeWait, "READY=1");
    EXPECT_EQ(systemd.next(0ms), "STOPPING=1");
    EXPECT_EQ(systemd.next(0ms), std::nullopt);
}

TEST_F(Watchdog, AFailedStartIsNeverReady) {
    const NotifySocket systemd;
    RecordingApplication application;
    application.hooks.setup = [] {
        throw std::runtime_error("no worker");
    };
    EXPECT_THROW(application.exec(), std::runtime_error);
    EXPECT_EQ(systemd.next(0ms), "STOPPING=1");
    EXPECT_EQ(systemd.next(0ms), std::nullopt);
}

TEST_F(Watchdog, IsFedAtHalfTheIntervalThatSystemdAsksFor) {
    const NotifySocket systemd(200ms);
    RecordingApplication application;
    const Execution execution(application);
    ASSERT_EQ(systemd.next(), "READY=1");
    const auto begin = Clock::now();
    for (int feeding = 0; feeding < 4; ++feeding)
        ASSERT_EQ(systemd.next(), "WATCHDOG=1");
    const auto elapsed = Clock::now() - begin;
    // Four intervals of 100 ms, less what passed between the start of the first and the reading
    // of READY=1; at the full interval it would be 800 ms.
    EXPECT_GE(elapsed, 300ms);
    EXPECT_LT(elapsed, 790ms);
}

TEST_F(Watchdog, OfAnotherProcessDoesNotSetTheInterval) {
    const NotifySocket systemd(1h);
    ::setenv("WATCHDOG_PID", "1", 1);
    RecordingApplication::Times times;
    times.healthCheck = 10ms;
    {
        RecordingApplication application(times);
        std::atomic<int> checks = 0;
        application.hooks.checkHealthStatus = [&] {
            return ++checks > 0;
        };
        const Execution execution(application);
        EXPECT_TRUE(waitUntil([&] { return checks >= 2; }));
    }
    ::unsetenv("WATCHDOG_PID");
}

TEST_F(Watchdog, TheHealthCheckRunsWithoutSystemdToo) {
    RecordingApplication::Times times;
    times.healthCheck = 10ms;
    RecordingApplication application(times);
    std::atomic<int> checks = 0;
    application.hooks.checkHealthStatus = [&] {
        return ++checks > 0;
    };
    const Execution execution(application);
    EXPECT_TRUE(waitUntil([&] { return checks >= 2; }));
}

TEST_F(Watchdog, IsNotFedByACheckThatCameBackFalse) {
    const NotifySocket systemd(20ms);
    RecordingApplication application;
    std::atomic<int> checks = 0;
    application.hooks.checkHealthStatus = [&] {
        return ++checks > 3;
    };
    const Execution execution(application);
    ASSERT_EQ(systemd.next(), "READY=1");
    ASSERT_EQ(systemd.next(), "WATCHDOG=1");
    EXPECT_GE(checks, 4);
    EXPECT_EQ(log.count(3, "Health check of Recorder failed"), 3U);
}

TEST_F(Watchdog, IsNotFedWhileACheckBlocks) {
    const NotifySocket systemd(20ms);
    RecordingApplication application;
    std::atomic<bool> begun = false;
    std::atomic<bool> release = false;
    std::atomic<int> checks = 0;
    application.hooks.checkHealthStatus = [&] {
        begun = true;
        EXPECT_TRUE(waitUntil([&] { return release.load(); }));
        return ++checks > 0;
    };
    {
        const Execution execution(application);
        ASSERT_EQ(systemd.next(), "READY=1");
        ASSERT_TRUE(waitUntil([&] { return begun.load(); }));
        release = true;
        EXPECT_EQ(systemd.next(), "WATCHDOG=1");
    }
    // One feeding for each check that returned, and none for the time in which it blocked.
    int feedings = 1;
    while (const Message message = systemd.next(0ms))
        feedings += *message == "WATCHDOG=1" ? 1 : 0;
    EXPECT_LE(feedings, checks);
}

TEST_F(Watchdog, TheEndWaitsForACheckThatWaitsForARun) {
    const NotifySocket systemd(2ms);
    RecordingApplication application;
    std::atomic<bool> begun = false;
    std::atomic<bool> returned = false;
    application.hooks.checkHealthStatus = [&] {
        begun = true;
        // As a run that ends because its transfers were aborted.
        waitUntil([&] { return application.getTerminationFlag(); });
        returned = true;
        return true;
    };
    bool returnedBeforeCleanup = false;
    application.hooks.cleanup = [&] {
        returnedBeforeCleanup = returned;
    };
    application.hooks.waitForTermination = [&] {
        waitUntil([&] { return begun.load(); });
        application.signalTermination();
    };
    application.exec();
    EXPECT_TRUE(returnedBeforeCleanup);
}

TEST_F(Watchdog, TheServiceRunsWhereSystemdCannotBeReached) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {phone.host("/run/systemd/notify"), "No such file or directory"},
        {"@nobody-listens-here", "Connection refused"},
        {"relative", "Invalid argument"},
        {"/", "Invalid argument"},
        {"", "Invalid argument"},
        {"/" + std::string(107, 'x'), "File name too long"},
    };
    for (const auto& [socket, cause] : cases) {
        ::setenv("NOTIFY_SOCKET", socket.c_str(), 1);
        RecordingApplication application;
        application.hooks.waitForTermination = [&] {
            application.signalTermination();
        };
        application.exec();
        ::unsetenv("NOTIFY_SOCKET");
        EXPECT_EQ(log.count(2, "Cannot tell systemd READY=1: " + cause), 1U) << socket;
        log.clear();
    }
}

TEST_F(Watchdog, AnAbstractSocketIsToldToo) {
    const NotifySocket systemd(NotifySocket::Name::ABSTRACT);
    RecordingApplication application;
    application.hooks.waitForTermination = [&] {
        application.signalTermination();
    };
    application.exec();
    EXPECT_EQ(systemd.next(0ms), "READY=1");
}

TEST_F(Watchdog, ATimeThatIsNotAPositiveNumberIsIgnored) {
    for (const char* time : {"", "0", "-5", "1s", "soon", "99999999999999999999"}) {
        ::setenv("WATCHDOG_USEC", time, 1);
        EXPECT_EQ(systemd::watchdogTimeout(), std::nullopt) << time;
        EXPECT_EQ(log.count(2, "Cannot read systemd's WATCHDOG_USEC: not a positive number"), 1U)
            << time;
        log.clear();
    }
    ::unsetenv("WATCHDOG_USEC");
    EXPECT_EQ(systemd::watchdogTimeout(), std::nullopt);
    EXPECT_TRUE(log.lines().empty());
}

} // namespace
