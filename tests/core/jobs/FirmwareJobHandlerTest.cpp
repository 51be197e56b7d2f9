// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/FirmwareJobHandler.h"

#include "JobTest.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace {

using ovo::FirmwareJobHandler;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using enum ovo::ProvisioningStatus;

constexpr char AUTOMATIC_CHECK[] = "FirmwareManagment.AutomaticCheckForUpdates";
constexpr char SKIPPED[] = "2 FirmwareJobHandler: Firmware skipped: automatic updates are off, "
                           "nobody asked for an update, "
                           "and the file does not force it";
constexpr char TRIGGER_AUTO[] = "State.FirmwareUpdate.TriggerAuto";
constexpr char FILE_NAME[] = "State.FirmwareUpdate.Filename";
constexpr char VERIFY[] = "State.FirmwareUpdate.Verify";
constexpr char UPDATE_SYSTEM[] = "State.FirmwareUpdate.UpdateSystem";
constexpr char CLEANUP[] = "/usr/sbin/firmware-update-cleanup.sh";
constexpr char NOTHING_NEWER[] = "2 FirmwareJobHandler: No newer versions found, finishing job";

class FirmwareJobHandlerTest : public JobTest {
protected:
    void SetUp() override {
        phone.write("/etc/firmware-version", "1.2.0\n");
        downloader->serve("http://10.0.0.5/prov/fw.bin", "image");
    }

    static Attributes file(const std::string& version, const std::string& flags = {}) {
        Attributes attributes{{"version", version}, {"url", "/fw.bin"}};
        if (!flags.empty())
            attributes["flags"] = flags;
        return attributes;
    }

    void turnAutomaticUpdateOn() { setUpValue(AUTOMATIC_CHECK, "1"); }
    void trigger() { setUpValue(TRIGGER_AUTO, "request"); }
    void setUpValue(const std::string& key, const std::string& value) {
        store->setValue(key, value);
        store->clearWrites();
    }

    /// The command that the job runs before a download.
    void installCleanup(const std::string& script) {
        phone.write(CLEANUP, "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(phone.host(CLEANUP), std::filesystem::perms::owner_all);
    }

    ovo::ProvisioningStatus run(const std::vector<Attributes>& files) {
        node = {"firmware", "file", childrenOf(files)};
        ovo::ProvisioningContext result = makeHandler().runImpl();
        EXPECT_TRUE(result.empty());
        return result.status();
    }

    FirmwareJobHandler makeHandler() {
        return {node, store, configuration, downloader, server, report};
    }

    std::vector<std::pair<std::string, std::string>> written() const {
        std::vector<std::pair<std::string, std::string>> result;
        for (const FakePropertyApi::Write& write : store->writes())
            result.emplace_back(write.key, write.value);
        return result;
    }

    ovo::ProvisioningNode node;
};

using Pairs = std::vector<std::pair<std::string, std::string>>;

const Pairs INSTALL = {{FILE_NAME, "fw.bin"}, {VERIFY, "request"}, {UPDATE_SYSTEM, "request"}};

TEST_F(FirmwareJobHandlerTest, HasItsName) {
    EXPECT_EQ(makeHandler().getName(), "FirmwareJobHandler");
}

TEST_F(FirmwareJobHandlerTest, SucceedsWithoutLookingWhenNothingAsksForAnUpdate) {
    for (const char* automatic : {"", "0", "2", "true", "11"}) {
        setUpValue(AUTOMATIC_CHECK, automatic);
        setUpValue(TRIGGER_AUTO, "requested");
        EXPECT_EQ(run({file("9.9", "force_accept")}), Success) << automatic;
    }
    EXPECT_THAT(downloader->requests(), IsEmpty());
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_THAT(log.texts(), Each(SKIPPED));
    EXPECT_THAT(log.texts(), SizeIs(5)) << "one line a time";
}

TEST_F(FirmwareJobHandlerTest, DownloadsANewerVersionAndAsksForCheckAndInstallationInThisOrder) {
    turnAutomaticUpdateOn();
    EXPECT_EQ(run({file("1.3.0")}), Success);
    EXPECT_EQ(phone.read("/config/swupdate/fw.bin"), "image");
    EXPECT_EQ(written(), INSTALL);
    EXPECT_THAT(linesFrom(log, "FirmwareJobHandler"),
                ElementsAre("1 FirmwareJobHandler: Found upgradable version: 1.3.0 url: /fw.bin"));
}

TEST_F(FirmwareJobHandlerTest, ImageCanBeReadByTheUpdateService) {
    turnAutomaticUpdateOn();
    run({file("1.3.0")});
    EXPECT_EQ(modeOf(phone.host("/config/swupdate/fw.bin")), 0644U);
}

TEST_F(FirmwareJobHandlerTest, CleansUpBeforeTheDownload) {
    turnAutomaticUpdateOn();
    phone.write("/config/swupdate/old.bin", "old");
    installCleanup("rm -f \"$HALDEN_ROOT\"/config/swupdate/*");
    EXPECT_EQ(run({file("1.3.0")}), Success);
    EXPECT_FALSE(phone.exists("/config/swupdate/old.bin"));
    EXPECT_EQ(phone.read("/config/swupdate/fw.bin"), "image"); // the cleanup did not take it
}

TEST_F(FirmwareJobHandlerTest, DoesNotMindTheResultOfTheCleanup) {
    turnAutomaticUpdateOn();
    installCleanup("exit 3");
    EXPECT_EQ(run({file("1.3.0")}), Success);
    std::filesystem::remove(phone.host(CLEANUP));
    EXPECT_EQ(run({file("1.3.0")}), Success);
}

TEST_F(FirmwareJobHandlerTest, DoesNotCleanUpWhenThereIsNothingToDownload) {
    turnAutomaticUpdateOn();
    installCleanup("touch \"$HALDEN_ROOT\"/cleaned");
    EXPECT_EQ(run({file("1.2.0")}), Fail);
    EXPECT_FALSE(phone.exists("/cleaned"));
}

TEST_F(FirmwareJobHandlerTest, RefusesWhatIsNotNewerAndSaysWhy) {
    turnAutomaticUpdateOn();
    const struct {
        const char* version;
        const char* line;
    } cases[] = {
        {"1.1.9", R"(3 FirmwareJobHandler: "1.1.9" is older than "1.2.0")"},
        {"1.2", R"(3 FirmwareJobHandler: "1.2" is equal to "1.2.0")"},
        {"new", R"(3 FirmwareJobHandler: New firmware version"new"is invalid!)"},
        {"2.0.0", R"(3 FirmwareJobHandler: Current version is not upgradeable to:"2.0.0")"},
    };
    for (const auto& [version, line] : cases) {
        log.clear();
        EXPECT_EQ(run({file(version)}), Fail) << version;
        EXPECT_THAT(log.texts(), ElementsAre(line, NOTHING_NEWER));
    }
    EXPECT_THAT(downloader->requests(), IsEmpty());
    EXPECT_THAT(store->writes(), IsEmpty());
}

TEST_F(FirmwareJobHandlerTest, ForcedDowngradeIsInstalled) {
    EXPECT_EQ(run({file("1.1.0", "FORCE_ACCEPT")}), Success);
    EXPECT_EQ(written(), INSTALL);
}

TEST_F(FirmwareJobHandlerTest, ForcedDowngradeIsRefusedWhenTriggeredAutomatically) {
    trigger();
    EXPECT_EQ(run({file("1.1.0", "FORCE_ACCEPT")}), Fail);
    EXPECT_TRUE(log.has(3, R"("1.1.0" is older than "1.2.0")"));
    EXPECT_EQ(written(), (Pairs{{TRIGGER_AUTO, "no_version"}}));
}

TEST_F(FirmwareJobHandlerTest, ForceAllowsNothingButADowngrade) {
    for (const char* version : {"1.2.0", "nonsense", "2.0.0"})
        EXPECT_EQ(run({file(version, "FORCE_ACCEPT")}), Fail) << version;
    EXPECT_THAT(downloader->requests(), IsEmpty());
}

TEST_F(FirmwareJobHandlerTest, ForceIsTheExactFlagOfAnyRecord) {
    node = {"firmware", "file", {file("1.1"), file("1.1", "FORCE_ACCEPT")}};
    EXPECT_TRUE(makeHandler().isForceAcceptEnabled());
    for (const char* flags : {"", "force_accept", "FORCE_ACCEPT ", "FORCE_ACCEPT,X"}) {
        node.children = {file("1.1"), {{"flags", flags}}};
        EXPECT_FALSE(makeHandler().isForceAcceptEnabled()) << flags;
    }
    node.children = {};
    EXPECT_FALSE(makeHandler().isForceAcceptEnabled());
}

TEST_F(FirmwareJobHandlerTest, TriggeredRunOnlyVerifiesAndAnswersSuccess) {
    trigger();
    EXPECT_EQ(run({file("1.3.0")}), Success);
    EXPECT_EQ(written(),
              (Pairs{{FILE_NAME, "fw.bin"}, {VERIFY, "request"}, {TRIGGER_AUTO, "success"}}));
}

TEST_F(FirmwareJobHandlerTest, TriggeredRunThatFindsNothingNewerAnswersNoVersion) {
    trigger();
    EXPECT_EQ(run({file("1.2.0")}), Fail);
    EXPECT_EQ(written(), (Pairs{{TRIGGER_AUTO, "no_version"}}));
    EXPECT_THAT(log.texts(), Contains(NOTHING_NEWER));
}

TEST_F(FirmwareJobHandlerTest, TriggeredRunWhoseDownloadFailsAnswersNoVersion) {
    trigger();
    downloader->fail("http://10.0.0.5/prov/fw.bin", 404, "the server answered with status 404");
    EXPECT_EQ(run({file("1.3.0")}), Fail);
    EXPECT_EQ(written(), (Pairs{{TRIGGER_AUTO, "no_version"}}));
}

TEST_F(FirmwareJobHandlerTest, TriggeredRunThatThrowsAnswersNoVersion) {
    trigger();
    EXPECT_EQ(run({{{"url", "/fw.bin"}}}), Fail); // no version
    EXPECT_EQ(written(), (Pairs{{TRIGGER_AUTO, "no_version"}}));
}

TEST_F(FirmwareJobHandlerTest, AnswerThatCannotBeWrittenIsLoggedAndChangesNothingElse) {
    trigger();
    store->failWrites(TRIGGER_AUTO);
    EXPECT_EQ(run({file("1.3.0")}), Success);
    EXPECT_EQ(linesFrom(log, "FirmwareJobHandler").back(),
              "3 FirmwareJobHandler: " +
                  errorOf([&] { store->setValue(TRIGGER_AUTO, "success"); }));
}

TEST_F(FirmwareJobHandlerTest, UntriggeredRunAnswersNothing) {
    makeHandler().setTriggeredUpdateStatus(Success);
    EXPECT_THAT(store->writes(), IsEmpty());
}

TEST_F(FirmwareJobHandlerTest, TakesExactlyOneRecord) {
    turnAutomaticUpdateOn();
    const std::vector<std::vector<Attributes>> cases = {{}, {file("1.3.0"), file("1.4.0")}};
    for (const auto& files : cases) {
        log.clear();
        EXPECT_EQ(run(files), Fail);
        EXPECT_THAT(
            log.texts(),
            ElementsAre(
                "2 FirmwareJobHandler: Multiple firmware version entries are not supported!",
                NOTHING_NEWER));
    }
    EXPECT_THAT(downloader->requests(), IsEmpty());
}

TEST_F(FirmwareJobHandlerTest, RecordWithoutVersionOrUrlFailsWithTheErrorOfTheLookUp) {
    turnAutomaticUpdateOn();
    const std::pair<Attributes, std::string> cases[] = {{{{"url", "/fw.bin"}}, "version"},
                                                        {{{"version", "1.3.0"}}, "url"}};
    for (const auto& [incomplete, missing] : cases) {
        log.clear();
        EXPECT_EQ(run({incomplete}), Fail);
        EXPECT_THAT(log.texts(),
                    ElementsAre("3 FirmwareJobHandler: Job handler failed with an exception: "
                                "attribute \"" +
                                missing + "\" is missing"));
    }
}

TEST_F(FirmwareJobHandlerTest, EmptyUrlCountsAsNoVersion) {
    turnAutomaticUpdateOn();
    EXPECT_EQ(run({{{"version", "1.3.0"}, {"url", ""}}}), Fail);
    EXPECT_THAT(log.texts(), Contains(NOTHING_NEWER));
}

TEST_F(FirmwareJobHandlerTest, AbsoluteUrlIsUsedAsItStands) {
    turnAutomaticUpdateOn();
    downloader->serve("https://10.0.0.6/images/a.bin", "other image");
    EXPECT_EQ(run({{{"version", "1.3.0"}, {"url", "https://10.0.0.6/images/a.bin"}}}), Success);
    EXPECT_EQ(phone.read("/config/swupdate/a.bin"), "other image");
}

TEST_F(FirmwareJobHandlerTest, PlaceholdersAreExpandedInTheLocalPathOnly) {
    turnAutomaticUpdateOn();
    configuration->set("networking.provisioning.MajorId", "hd7k");
    downloader->serve("http://10.0.0.5/prov/%DVID.bin", "image");
    EXPECT_EQ(run({{{"version", "1.3.0"}, {"url", "/%DVID.bin"}}}), Success);
    EXPECT_TRUE(phone.exists("/config/swupdate/hd7k.bin"));
    EXPECT_THAT(store->writesOf(FILE_NAME), ElementsAre("%DVID.bin"));
}

TEST_F(FirmwareJobHandlerTest, FailuresOnTheWayToTheImageAreLoggedWithTheirTextAlone) {
    turnAutomaticUpdateOn();
    downloader->fail("http://10.0.0.5/prov/fw.bin", 503, "the server is busy");
    EXPECT_EQ(run({file("1.3.0")}), Fail);
    EXPECT_EQ(log.texts().back(),
              "3 FirmwareJobHandler: Download from 10.0.0.5 failed: the server is busy");
    EXPECT_THAT(store->writes(), IsEmpty());

    EXPECT_EQ(run({{{"version", "1.3.0"}, {"url", "fw.bin"}}}), Fail);
    EXPECT_EQ(log.texts().back(), "3 FirmwareJobHandler: Url is incorrect, please verify");
}

TEST_F(FirmwareJobHandlerTest, InstallationIsNotAskedForWhenTheCheckCouldNotBe) {
    turnAutomaticUpdateOn();
    store->failWrites(VERIFY);
    EXPECT_EQ(run({file("1.3.0")}), Fail);
    EXPECT_EQ(written(), (Pairs{{FILE_NAME, "fw.bin"}}));
    EXPECT_EQ(log.texts().back(),
              "3 FirmwareJobHandler: " + errorOf([&] { store->setValue(VERIFY, "x"); }));
}

TEST_F(FirmwareJobHandlerTest, UnreadableSettingsCountAsOffAndAreLoggedAsProgress) {
    store->failAllReads();
    EXPECT_EQ(run({file("1.3.0")}), Success);
    EXPECT_THAT(
        log.texts(),
        ElementsAre("1 FirmwareJobHandler: " + errorOf([&] { store->getValue(TRIGGER_AUTO); }),
                    "1 FirmwareJobHandler: " + errorOf([&] { store->getValue(AUTOMATIC_CHECK); }),
                    SKIPPED));
}

TEST_F(FirmwareJobHandlerTest, ChoiceOfTheVersionCanBeReplaced) {
    class Chosen : public FirmwareJobHandler {
    public:
        using FirmwareJobHandler::FirmwareJobHandler;
        std::string getVersion() const override { return "/fw.bin"; }
    };
    turnAutomaticUpdateOn();
    node = {"firmware", "file", {}};
    EXPECT_EQ(Chosen(node, store, configuration, downloader, server, report).runImpl().status(),
              Success);
    EXPECT_EQ(written(), INSTALL);
}

TEST(FirmwareJobHandlerTexts, WildcardsAreTheThreePlaceholders) {
    for (const char* text : {"%DVID", "/a/%MACC.bin", "x%MACDx"})
        EXPECT_TRUE(FirmwareJobHandler::hasWildcard(text)) << text;
    for (const char* text : {"", "fw.bin", "%MAC", "%dvid", "MACC"})
        EXPECT_FALSE(FirmwareJobHandler::hasWildcard(text)) << text;
}

TEST(FirmwareJobHandlerTexts, FileNameIsBehindTheLastSlash) {
    EXPECT_EQ(FirmwareJobHandler::extractFilename("/a/b/fw.bin"), "fw.bin");
    EXPECT_EQ(FirmwareJobHandler::extractFilename("fw.bin"), "fw.bin");
    EXPECT_EQ(FirmwareJobHandler::extractFilename("/a/"), "");
    EXPECT_EQ(FirmwareJobHandler::extractFilename(""), "");
}

} // namespace
