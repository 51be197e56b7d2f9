// SPDX-License-Identifier: Apache-2.0
#include "firmware/HaldenFirmwareVersion.h"
#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>

using version::HaldenFirmwareVersion;

namespace {

int compare(const std::string& installed, const std::string& candidate) {
    return HaldenFirmwareVersion(installed).compare(HaldenFirmwareVersion(candidate));
}

std::string installedBy(const PhoneRoot& phone, const std::string& content) {
    phone.write("/etc/os-release", content);
    return HaldenFirmwareVersion().getVersion();
}

} // namespace

TEST(OsReleaseVersion, IsTheInstalledOne) {
    const PhoneRoot phone;
    EXPECT_EQ(HaldenFirmwareVersion().getVersion(), "");
    EXPECT_EQ(installedBy(phone, "ID=x\nVERSION_ID=\"7.1.0\"\nNAME=y\n"), "7.1.0");
    EXPECT_EQ(installedBy(phone, "VERSION_ID='7.1'"), "7.1");
    EXPECT_EQ(installedBy(phone, "OLD_VERSION_ID=6.0\n\nVERSION_ID=7.2\n"), "7.2");
    EXPECT_EQ(installedBy(phone, "ID=x\n"), "");
}

TEST(OsReleaseVersion, ComparesAsTheInterfaceSays) {
    EXPECT_EQ(compare("7.1", "7.1.1"), HaldenFirmwareVersion::NEWER);
    EXPECT_EQ(compare("7.10", "7.9.9.9"), HaldenFirmwareVersion::OLDER);
    EXPECT_EQ(compare("7.1", "7.01.0.0"), HaldenFirmwareVersion::EQUAL);
    EXPECT_EQ(compare("7.1", "8.0"), HaldenFirmwareVersion::NOT_UPGRADEABLE);
    EXPECT_EQ(compare("", "7.1"), HaldenFirmwareVersion::NOT_UPGRADEABLE);
    for (const char* text : {"", "7", "7.", "7..1", "7.1.2.3.4", "7.-1", "7.x", " 7.1"})
        EXPECT_EQ(compare("7.1", text), HaldenFirmwareVersion::INVALID) << text;
}
