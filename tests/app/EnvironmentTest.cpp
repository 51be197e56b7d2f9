// SPDX-License-Identifier: Apache-2.0
#include "app/Environment.h"

#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

class EnvironmentTest : public testing::Test {
protected:
    EnvironmentTest() { ::unsetenv("HALDEN_BUS"); }
    ~EnvironmentTest() override { ::unsetenv("HALDEN_BUS"); }
};

TEST_F(EnvironmentTest, TheBusIsASocketBelowTheRootByDefault) {
    const PhoneRoot phone;
    EXPECT_EQ(app::Environment::read().busAddress, "unix:" + phone.path() + "/run/halden/bus.sock");
}

TEST_F(EnvironmentTest, TheBusOfTheMachineWithoutARoot) {
    ::unsetenv("HALDEN_ROOT");
    EXPECT_EQ(app::Environment::read().busAddress, "unix:/run/halden/bus.sock");
}

TEST_F(EnvironmentTest, HaldenBusIsTakenAsItIs) {
    const PhoneRoot phone;
    ::setenv("HALDEN_BUS", "tcp:localhost:1883", 1);
    EXPECT_EQ(app::Environment::read().busAddress, "tcp:localhost:1883");
}

TEST_F(EnvironmentTest, AnEmptyHaldenBusCountsAsNotSet) {
    const PhoneRoot phone;
    ::setenv("HALDEN_BUS", "", 1);
    EXPECT_EQ(app::Environment::read().busAddress, "unix:" + phone.path() + "/run/halden/bus.sock");
}

} // namespace
