// SPDX-License-Identifier: Apache-2.0
// How the firmware job calls its clean-up command, with the execution of commands played by this
// file in place of the real one.

#include "JobHandlers/FirmwareJobHandler.h"
#include "JobTest.h"
#include "os/Execute.h"

#include <gmock/gmock.h>

namespace {

std::vector<std::string> executed;
int cleanupResult = 0;
std::function<void()> duringCleanup;

} // namespace

namespace os {

int execute(const std::string& command, unsigned int timeoutMs) {
    executed.push_back(command + " within " + std::to_string(timeoutMs) + " ms");
    if (duringCleanup)
        duringCleanup();
    return cleanupResult;
}

} // namespace os

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using enum ovo::ProvisioningStatus;

constexpr char AUTOMATIC_CHECK[] = "FirmwareManagment.AutomaticCheckForUpdates";
constexpr char TRIGGER_AUTO[] = "State.FirmwareUpdate.TriggerAuto";
constexpr char UPDATE_SYSTEM[] = "State.FirmwareUpdate.UpdateSystem";
constexpr char MAC_ADDRESS[] = "NET.MAC.Address";

class FirmwareCleanupTest : public JobTest {
protected:
    void SetUp() override {
        executed.clear();
        cleanupResult = 0;
        duringCleanup = nullptr;
        phone.write("/etc/firmware-version", "1.2.0\n");
        downloader->serve("http://10.0.0.5/prov/fw.bin", "image");
        store->setValue(AUTOMATIC_CHECK, "1");
        store->clearWrites();
    }

    std::vector<std::string> writtenKeys() const {
        std::vector<std::string> keys;
        for (const FakePropertyApi::Write& write : store->writes())
            keys.push_back(write.key);
        return keys;
    }

    ovo::ProvisioningNode node{"firmware", "file", {{{"version", "1.3.0"}, {"url", "/fw.bin"}}}};
    ovo::FirmwareJobHandler handler{node, store, configuration, downloader, server, report};
};

TEST_F(FirmwareCleanupTest, RunsOnceBeforeTheDownloadWithTenSeconds) {
    duringCleanup = [this] {
        EXPECT_THAT(downloader->requests(), IsEmpty());
    };
    EXPECT_EQ(handler.runImpl().status(), Success);
    EXPECT_THAT(executed, ElementsAre("/usr/sbin/firmware-update-cleanup.sh within 10000 ms"));
    EXPECT_THAT(downloader->requests(), SizeIs(1));
}

TEST_F(FirmwareCleanupTest, ThatCouldNotRunOrFailedKeepsNoImageFromBeingFetched) {
    for (const int result : {-1, 1, 128 + 9}) {
        cleanupResult = result;
        downloader->serve("http://10.0.0.5/prov/fw.bin", "image " + std::to_string(result));
        EXPECT_EQ(handler.runImpl().status(), Success) << result;
        EXPECT_EQ(phone.read("/config/swupdate/fw.bin"), "image " + std::to_string(result));
    }
}

TEST_F(FirmwareCleanupTest, DoesNotRunWithoutAnUpdate) {
    store->setValue(AUTOMATIC_CHECK, "0");
    EXPECT_EQ(handler.runImpl().status(), Success);
    EXPECT_THAT(executed, IsEmpty());
}

// Who asked for the update counts as it was when the job began, whatever comes in the meantime.

TEST_F(FirmwareCleanupTest, ATriggerThatComesDuringTheJobIsNotAnsweredByIt) {
    duringCleanup = [this] {
        store->setValue(TRIGGER_AUTO, "request");
        store->clearWrites();
    };
    EXPECT_EQ(handler.runImpl().status(), Success);
    EXPECT_THAT(writtenKeys(), ElementsAre("State.FirmwareUpdate.Filename",
                                           "State.FirmwareUpdate.Verify", UPDATE_SYSTEM));
    EXPECT_EQ(store->getValue(TRIGGER_AUTO), "request");
}

TEST_F(FirmwareCleanupTest, ATriggerThatGoesDuringTheJobIsAnsweredAllTheSame) {
    store->setValue(TRIGGER_AUTO, "request");
    duringCleanup = [this] {
        store->setValue(TRIGGER_AUTO, "");
        store->clearWrites();
    };
    EXPECT_EQ(handler.runImpl().status(), Success);
    EXPECT_THAT(writtenKeys(), ElementsAre("State.FirmwareUpdate.Filename",
                                           "State.FirmwareUpdate.Verify", TRIGGER_AUTO));
    EXPECT_EQ(store->getValue(TRIGGER_AUTO), "success");
}

TEST_F(FirmwareCleanupTest, TheTriggerIsReadOnceAndBeforeEverythingElse) {
    std::vector<std::string> reads;
    store->beforeRead = [&](const std::string& key) {
        reads.push_back(key);
    };
    EXPECT_EQ(handler.runImpl().status(), Success);
    ASSERT_FALSE(reads.empty());
    EXPECT_EQ(reads.front(), TRIGGER_AUTO);
    EXPECT_EQ(store->readsOf(TRIGGER_AUTO), 1U);
}

/// Where something else than a standard exception can come up.
struct Place {
    const char* name;
    const char* key; ///< throws when it is read; nullptr: the clean-up throws
};

class FirmwareException : public FirmwareCleanupTest, public testing::WithParamInterface<Place> {};

TEST_P(FirmwareException, ThatIsNotAStandardOneLeavesTheJobWithoutAnAnswer) {
    store->setValue(TRIGGER_AUTO, "request");
    store->clearWrites();
    const char* const key = GetParam().key;
    if (key == nullptr)
        duringCleanup = [] {
            throw 7;
        };
    else
        store->beforeRead = [key](const std::string& read) {
            if (read == key)
                throw 7;
        };
    EXPECT_THROW(handler.runImpl(), int);
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_FALSE(log.mentions("Job handler failed"));
}

INSTANTIATE_TEST_SUITE_P(Places, FirmwareException,
                         testing::Values(Place{"Trigger", TRIGGER_AUTO},
                                         Place{"Setting", AUTOMATIC_CHECK},
                                         Place{"Cleanup", nullptr}, Place{"Download", MAC_ADDRESS}),
                         [](const auto& place) { return std::string(place.param.name); });

} // namespace
