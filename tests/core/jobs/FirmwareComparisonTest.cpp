// SPDX-License-Identifier: Apache-2.0
// What the firmware job makes of each result of the version library, played by this file in place
// of the real one, results that the real one never gives included.

#include "JobHandlers/FirmwareJobHandler.h"
#include "JobTest.h"
#include "firmware/HaldenFirmwareVersion.h"

#include <gmock/gmock.h>

namespace {

int plannedResult = 0;
int installedVersionsRead = 0;

} // namespace

namespace version {

HaldenFirmwareVersion::HaldenFirmwareVersion() : text_("installed") {
    ++installedVersionsRead;
}

HaldenFirmwareVersion::HaldenFirmwareVersion(const std::string& text) : text_(text) {}

int HaldenFirmwareVersion::compare(const HaldenFirmwareVersion& candidate) const {
    EXPECT_EQ(text_, "installed");
    EXPECT_EQ(candidate.text_, "offered");
    return plannedResult;
}

} // namespace version

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum ovo::ProvisioningStatus;

class FirmwareComparisonTest : public JobTest {
protected:
    ovo::ProvisioningNode node{"firmware", "file", {{{"version", "offered"}, {"url", "/fw.bin"}}}};
    ovo::FirmwareJobHandler handler{node, store, configuration, downloader, server, report};
};

TEST_F(FirmwareComparisonTest, NewerIsTaken) {
    plannedResult = 0;
    EXPECT_TRUE(handler.isNewFirmwareVersionUpgradeable("offered"));
    EXPECT_THAT(log.texts(), IsEmpty());
    EXPECT_EQ(handler.getVersion(), "/fw.bin");
    EXPECT_THAT(log.texts(), ElementsAre("1 FirmwareJobHandler: Found upgradable version: offered "
                                         "url: /fw.bin"));
}

TEST_F(FirmwareComparisonTest, EverythingElseIsRefusedWithAReason) {
    const struct {
        int result;
        const char* line;
    } cases[] = {
        {1, R"(3 FirmwareJobHandler: "offered" is older than "installed")"},
        {2, R"(3 FirmwareJobHandler: "offered" is equal to "installed")"},
        {3, R"(3 FirmwareJobHandler: New firmware version"offered"is invalid!)"},
        {4, R"(3 FirmwareJobHandler: Current version is not upgradeable to:"offered")"},
        {5, "3 FirmwareJobHandler: Unrecognized firmware version status: 5"},
        {-1, "3 FirmwareJobHandler: Unrecognized firmware version status: -1"},
    };
    for (const auto& [result, line] : cases) {
        plannedResult = result;
        log.clear();
        EXPECT_FALSE(handler.isNewFirmwareVersionUpgradeable("offered"));
        EXPECT_THAT(log.texts(), ElementsAre(line));
        EXPECT_EQ(handler.getVersion(), "");
    }
}

TEST_F(FirmwareComparisonTest, InstalledVersionIsNotReadWhenNothingAsksForAnUpdate) {
    installedVersionsRead = 0;
    EXPECT_EQ(handler.runImpl().status(), Success);
    EXPECT_EQ(installedVersionsRead, 0);
}

} // namespace
