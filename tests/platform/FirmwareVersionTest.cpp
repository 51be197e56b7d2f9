// SPDX-License-Identifier: Apache-2.0
#include "firmware/HaldenFirmwareVersion.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using version::HaldenFirmwareVersion;

struct VersionCase {
    std::string installed;
    std::string candidate;
    int expected;
};

TEST(FirmwareVersion, ComparesNumberByNumber) {
    const std::string huge(400, '9');
    const std::vector<VersionCase> cases{
        {"1.0", "1.1", HaldenFirmwareVersion::NEWER},
        {"1.9", "1.10", HaldenFirmwareVersion::NEWER},
        {"1.2.3", "1.2.3.1", HaldenFirmwareVersion::NEWER},
        {"1.2.3.4", "1.2.4", HaldenFirmwareVersion::NEWER},
        {"1.1", "1.0", HaldenFirmwareVersion::OLDER},
        {"1.0.0.1", "1.0", HaldenFirmwareVersion::OLDER},
        {"1.10", "1.9", HaldenFirmwareVersion::OLDER},
        {"1.0", "1.0", HaldenFirmwareVersion::EQUAL},
        {"1.0", "1.0.0.0", HaldenFirmwareVersion::EQUAL},
        {"1.02", "01.2.00", HaldenFirmwareVersion::EQUAL},
        {"0.0", "00.000", HaldenFirmwareVersion::EQUAL},
        // Beyond every integer of the machine.
        {"1.4294967295", "1.4294967296", HaldenFirmwareVersion::NEWER},
        {"1.18446744073709551615", "1.18446744073709551616", HaldenFirmwareVersion::NEWER},
        {"1.18446744073709551617", "1.1", HaldenFirmwareVersion::OLDER},
        {"1." + huge, "1.1" + std::string(400, '0'), HaldenFirmwareVersion::NEWER},
        {"1." + huge, "1.0" + huge, HaldenFirmwareVersion::EQUAL},
        // Another hardware generation, in both directions.
        {"1.5", "2.0", HaldenFirmwareVersion::NOT_UPGRADEABLE},
        {"2.0", "1.5", HaldenFirmwareVersion::NOT_UPGRADEABLE},
        {"1.5", "4294967297.5", HaldenFirmwareVersion::NOT_UPGRADEABLE},
        // An installed version that is none.
        {"", "1.0", HaldenFirmwareVersion::NOT_UPGRADEABLE},
        {"unknown", "1.0", HaldenFirmwareVersion::NOT_UPGRADEABLE},
        {"unknown", "unknown", HaldenFirmwareVersion::INVALID},
    };
    for (const VersionCase& example : cases)
        EXPECT_EQ(HaldenFirmwareVersion(example.installed)
                      .compare(HaldenFirmwareVersion(example.candidate)),
                  example.expected)
            << example.installed << " / " << example.candidate;
}

TEST(FirmwareVersion, RefusesWhatIsNoVersion) {
    const HaldenFirmwareVersion installed("1.0");
    const std::vector<std::string> texts{"",       "1",
                                         ".",      "1.",
                                         ".1",     "1..2",
                                         "1.2.",   "1.2.3.4.5",
                                         "1.a",    "a.1",
                                         "1.2-rc", " 1.2",
                                         "1.2 ",   "1. 2",
                                         "-1.2",   "+1.2",
                                         "1.-2",   "0x1.2",
                                         "1,2",    "1.2\n",
                                         "1.2e1",  "1.\xd9\xa1",
                                         "v1.2",   "1.2.",
                                         "1.2.3.", std::string("1.2\0", 4)};
    for (const std::string& text : texts)
        EXPECT_EQ(installed.compare(HaldenFirmwareVersion(text)), HaldenFirmwareVersion::INVALID)
            << text;
}

TEST(FirmwareVersion, KeepsItsText) {
    EXPECT_EQ(HaldenFirmwareVersion("01.2 beta").getVersion(), "01.2 beta");
}

TEST(InstalledFirmwareVersion, IsTheFirstLineOfItsFile) {
    const PhoneRoot phone;
    for (const std::string content : {"7.1.3", "7.1.3\n", "7.1.3\r\n", "7.1.3 \n9.9\n"}) {
        phone.write("/etc/firmware-version", content);
        EXPECT_EQ(HaldenFirmwareVersion().getVersion(), "7.1.3") << content;
    }
}

TEST(InstalledFirmwareVersion, IsInvalidWhenThePhoneDoesNotSay) {
    const PhoneRoot phone;
    const LogRecorder log;
    const HaldenFirmwareVersion installed;
    EXPECT_EQ(installed.getVersion(), "");
    EXPECT_EQ(installed.compare(HaldenFirmwareVersion("1.0")),
              HaldenFirmwareVersion::NOT_UPGRADEABLE);
    EXPECT_TRUE(log.has(2, "Installed firmware version unknown: Reading "
                           "\"/etc/firmware-version\": No such file or directory"));
}

} // namespace
