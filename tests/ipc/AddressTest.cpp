// SPDX-License-Identifier: Apache-2.0
#include "ipc/mosquitto/BusAddress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using ipc::BusAddress;

struct Valid {
    const char* text;
    const char* host;
    int port;
};

class ValidAddress : public testing::TestWithParam<Valid> {};

TEST_P(ValidAddress, IsTakenApart) {
    const BusAddress address = BusAddress::parse(GetParam().text);
    EXPECT_EQ(address.host, GetParam().host);
    EXPECT_EQ(address.port, GetParam().port);
    EXPECT_EQ(address.isUnix(), GetParam().port == 0);
    EXPECT_EQ(address.text, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Bus, ValidAddress,
                         testing::Values(Valid{"unix:/run/halden/bus.sock", "/run/halden/bus.sock",
                                               0},
                                         Valid{"unix:/with:colon", "/with:colon", 0},
                                         Valid{"tcp:localhost:1883", "localhost", 1883},
                                         Valid{"tcp:127.0.0.1:1", "127.0.0.1", 1},
                                         Valid{"tcp:[::1]:65535", "::1", 65535},
                                         Valid{"tcp:[fe80::1%eth0]:1883", "fe80::1%eth0", 1883}));

class MalformedAddress : public testing::TestWithParam<const char*> {};

TEST_P(MalformedAddress, IsRefusedByName) {
    try {
        BusAddress::parse(GetParam());
        FAIL() << GetParam();
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("\"" + std::string(GetParam()) + "\""));
    }
}

INSTANTIATE_TEST_SUITE_P(Bus, MalformedAddress,
                         testing::Values("", "unix", "unix:", "/run/halden/bus.sock",
                                         "tcp:", "tcp:host", "tcp:host:", "tcp::1883", "tcp:host:0",
                                         "tcp:host:65536", "tcp:host:-1", "tcp:host:18x",
                                         "tcp:host: 1883", "tcp:host:99999999999999999999",
                                         "tcp:::1:1883", "tcp:[::1:1883", "tcp:[]:1883",
                                         "tcp:[::1]", "TCP:host:1883", "mqtt:host:1883"));

TEST(BusAddress, TooLongForASocketIsRefused) {
    EXPECT_NO_THROW(BusAddress::parse("unix:/" + std::string(106, 'a')));
    EXPECT_THROW(BusAddress::parse("unix:/" + std::string(107, 'a')), std::runtime_error);
}

TEST(BusAddress, ControlCharactersAreRefusedAndEscaped) {
    for (const std::string& text : {std::string("unix:/a\nb"), std::string("tcp:h\0st:1", 10)}) {
        try {
            BusAddress::parse(text);
            FAIL();
        } catch (const std::runtime_error& error) {
            const std::string what = error.what();
            EXPECT_EQ(what.find('\n'), std::string::npos);
            EXPECT_THAT(what, testing::HasSubstr("control character"));
        }
    }
}

} // namespace
