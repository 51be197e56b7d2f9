// SPDX-License-Identifier: Apache-2.0
#include "CustomScenarioTest.h"
#include "JobHandlers/StepTypes.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using enum ovo::ProvisioningStatus;

// "Redirect"

class RedirectTest : public CustomScenarioTest {
protected:
    static Step step(const std::string& url) { return {{"type", "Redirect"}, {"url", url}}; }
};

TEST_F(RedirectTest, QueuesTheFilesInOrderAndFetchesNothing) {
    auto result = run({step("/a.xml"), step("https://10.0.0.6/d/b.xml")});
    EXPECT_EQ(result.status(), Success);
    const auto files = takeFiles(result);
    ASSERT_THAT(files, SizeIs(2));
    EXPECT_EQ(files[0].serverAddress, server);
    EXPECT_EQ(files[0].url.getUrl(), "http://10.0.0.5/prov/a.xml");
    EXPECT_EQ(files[0].path, "/var/volatile/provisioning/scenario/a.xml");
    EXPECT_EQ(files[1].serverAddress, server);
    EXPECT_EQ(files[1].url.getUrl(), "https://10.0.0.6/d/b.xml");
    EXPECT_EQ(files[1].path, "/var/volatile/provisioning/scenario/b.xml");
    EXPECT_THAT(downloader->requests(), IsEmpty());
    EXPECT_THAT(bus.published(), IsEmpty());
    EXPECT_THAT(ownLines(), ElementsAre("1 Custom redirect.",
                                        "1 New provisioning file: http://10.0.0.5/prov/a.xml",
                                        "1 Custom redirect.",
                                        "1 New provisioning file: https://10.0.0.6/d/b.xml"));
}

TEST_F(RedirectTest, UsesTheNameOfItsNode) {
    node.name = "custom";
    auto result = run({step("/a.xml")});
    EXPECT_EQ(takeFiles(result)[0].path, "/var/volatile/provisioning/custom/a.xml");
}

TEST_F(RedirectTest, ExpandsPlaceholdersInTheLocalPathOnly) {
    store->setValue("NET.MAC.Address", "02:11:22:aa:bb:cc");
    auto result = run({step("/%MACC.xml")});
    const auto files = takeFiles(result);
    EXPECT_EQ(files[0].url.fileName, "%MACC.xml");
    EXPECT_EQ(files[0].path, "/var/volatile/provisioning/scenario/02:11:22:aa:bb:cc.xml");
}

TEST_F(RedirectTest, MayNameTheSameFileAgain) {
    auto result = run({step("/a.xml"), step("/a.xml")});
    const auto files = takeFiles(result);
    ASSERT_THAT(files, SizeIs(2));
    EXPECT_EQ(files[0], files[1]);
}

TEST_F(RedirectTest, FailsWithTheTextOfTheErrorAlone) {
    const std::pair<Step, std::string> cases[] = {
        {{{"type", "Redirect"}}, "attribute \"url\" is missing"},
        {step(""), "Empty url attribute."},
        {step("a.xml"), "Url is incorrect, please verify"},
    };
    for (const auto& [wrong, error] : cases) {
        log.clear();
        auto result = run({wrong});
        EXPECT_EQ(result.status(), Fail);
        EXPECT_TRUE(result.empty());
        EXPECT_THAT(ownLines(), ElementsAre("1 Custom redirect.", "3 " + error));
    }
}

TEST_F(RedirectTest, FailsWhenTheStoreDoes) {
    store->failReads("NET.MAC.Address");
    EXPECT_EQ(statusOf({step("/a.xml")}), Fail);
    EXPECT_THAT(ownLines(),
                ElementsAre("1 Custom redirect.",
                            "3 " + errorOf([&] { store->getValue("NET.MAC.Address"); })));
}

// "DownloadWallpaper"

class WallpaperTest : public CustomScenarioTest {
protected:
    static Step step(const std::string& url) {
        return {{"type", "DownloadWallpaper"}, {"url", url}};
    }
};

TEST_F(WallpaperTest, IsFetchedIntoTheDirectoryOfImagesReadableForTheUserInterface) {
    downloader->serve("http://10.0.0.5/prov/img/bg.png", "image");
    EXPECT_EQ(statusOf({step("/img/bg.png")}), Success);
    EXPECT_EQ(phone.read("/data/images/bg.png"), "image");
    EXPECT_EQ(modeOf(phone.host("/data/images/bg.png")), 0644U);
    EXPECT_THAT(bus.published(), IsEmpty());
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_THAT(ownLines(), ElementsAre("1 Downloading wallpaper from URL "
                                        "\"http://10.0.0.5/prov/img/bg.png\""));
}

TEST_F(WallpaperTest, KeepsTheQueryInItsFileName) {
    downloader->serve("http://10.0.0.5/prov/img/bg.png?x=1", "image");
    EXPECT_EQ(statusOf({step("/img/bg.png?x=1")}), Success);
    EXPECT_EQ(phone.read("/data/images/bg.png?x=1"), "image");
}

TEST_F(WallpaperTest, KeepsPlaceholdersInItsFileName) {
    configuration->set("networking.provisioning.MajorId", "hd7k");
    downloader->serve("http://10.0.0.5/prov/%DVID.png", "image");
    EXPECT_EQ(statusOf({step("/%DVID.png")}), Success);
    EXPECT_TRUE(phone.exists("/data/images/%DVID.png"));
}

TEST_F(WallpaperTest, WithoutFileNameGoesToTheDirectoryItselfWhichTheDownloaderRefuses) {
    EXPECT_EQ(statusOf({step("/img/")}), Fail);
    EXPECT_EQ(downloader->requests()[0].path, "/data/images/");
}

TEST_F(WallpaperTest, ThatCannotBeFetchedFailsWithTheTextOfTheErrorAlone) {
    downloader->fail("http://10.0.0.5/prov/bg.png", 503, "the server is busy");
    EXPECT_EQ(statusOf({step("/bg.png")}), Fail);
    EXPECT_EQ(ownLines().back(), "3 Download from 10.0.0.5 failed: the server is busy");
}

// "LocalPhoneBook"

class PhoneBookStepTest : public CustomScenarioTest {
protected:
    static constexpr char PERIOD[] = "State.LocalDirectoryUpdate.Period";

    void SetUp() override { downloader->serve("http://10.0.0.5/prov/book.xml", "contacts"); }

    static Step step(const std::string& url = "/book.xml") {
        return {{"type", "LocalPhoneBook"}, {"url", url}};
    }
    static Step stepWithPeriod(const std::string& period) {
        Step result = step();
        result["renewPeriod"] = period;
        return result;
    }
};

TEST_F(PhoneBookStepTest, SetsThePeriodBeforeItUpdatesThePhoneBook) {
    downloader->setProgressCallback([&](long, long, long, long) {
        EXPECT_EQ(store->getValue(PERIOD), " 86400 x"); // unchanged, as it was given
        return 0;
    });
    EXPECT_EQ(statusOf({stepWithPeriod(" 86400 x")}), Success);
    EXPECT_EQ(phone.read("/var/volatile/contacts/book.xml"), "contacts");
    EXPECT_EQ(store->getValue("State.LocalDirectoryUpdate.FileName"), "book.xml");
    EXPECT_EQ(store->getValue("State.LocalDirectoryUpdate.Verify"), "request");
    EXPECT_THAT(ownLines(), IsEmpty());
}

TEST_F(PhoneBookStepTest, LeavesThePeriodWhenNoneOrAnEmptyOneIsGiven) {
    store->setValue(PERIOD, "600");
    EXPECT_EQ(statusOf({step(), stepWithPeriod("")}), Success);
    EXPECT_THAT(store->writesOf(PERIOD), ElementsAre("600"));
}

TEST_F(PhoneBookStepTest, IsSkippedDuringACheckOfTheConfiguration) {
    store->setValue("State.Provisioning", "request-check-sync");
    store->clearWrites();
    EXPECT_EQ(statusOf({stepWithPeriod("600"), {{"type", "LocalPhoneBook"}}}), Success);
    EXPECT_THAT(downloader->requests(), IsEmpty());
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_THAT(ownLines(), ElementsAre("1 Download of local phone book skipped",
                                        "1 Download of local phone book skipped"));
}

TEST_F(PhoneBookStepTest, IsSkippedForTheExactRequestOnly) {
    for (const char* state : {"", "request", "request-check-sync ", "success"}) {
        store->setValue("State.Provisioning", state);
        EXPECT_EQ(statusOf({step()}), Success);
    }
    EXPECT_THAT(downloader->requests(), SizeIs(4));
}

TEST_F(PhoneBookStepTest, WhosePeriodCannotBeWrittenLeavesTheUrlOfBefore) {
    phoneBook.setUrl(http::UrlInfo("http://10.0.0.5/prov/old.xml"));
    downloader->serve("http://10.0.0.5/prov/old.xml", "old contacts");
    store->failWrites(PERIOD);
    EXPECT_EQ(statusOf({stepWithPeriod("600")}), Fail);
    EXPECT_THAT(downloader->requests(), IsEmpty());
    EXPECT_TRUE(phoneBook.update());
    EXPECT_EQ(downloader->requests().back().url, "http://10.0.0.5/prov/old.xml");
}

TEST_F(PhoneBookStepTest, ResultIsThatOfTheUpdate) {
    EXPECT_EQ(statusOf({step("/missing.xml")}), Fail);
}

TEST_F(PhoneBookStepTest, LeavesItsUrlForLaterRenewals) {
    EXPECT_EQ(statusOf({step()}), Success);
    EXPECT_TRUE(phoneBook.update());
    EXPECT_EQ(downloader->requests()[1].url, "http://10.0.0.5/prov/book.xml");
}

TEST_F(PhoneBookStepTest, WithAWrongUrlChangesNothing) {
    EXPECT_EQ(statusOf({{{"type", "LocalPhoneBook"}, {"url", "x"}, {"renewPeriod", "600"}}}), Fail);
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_TRUE(log.has(3, "Error executing step: \"LocalPhoneBook\" (exception Url is incorrect, "
                           "please verify)"));
}

TEST_F(PhoneBookStepTest, FailsWhenTheStoreDoes) {
    const auto failure = [](const std::string& text) {
        return "Error executing step: \"LocalPhoneBook\" (exception " + text + ")";
    };
    store->failWrites(PERIOD);
    EXPECT_EQ(statusOf({stepWithPeriod("600")}), Fail);
    EXPECT_TRUE(log.has(3, failure(errorOf([&] { store->setValue(PERIOD, "600"); }))));
    store->failReads("State.Provisioning");
    EXPECT_EQ(statusOf({step()}), Fail);
    EXPECT_TRUE(log.has(3, failure(errorOf([&] { store->getValue("State.Provisioning"); }))));
    EXPECT_THAT(downloader->requests(), IsEmpty());
}

// "UnlockAllFunctionKeys"

TEST_F(CustomScenarioTest, UnlockingWritesExactlyEightLocksWhateverTheAttributes) {
    store->setValue("FunctionKeys.8.LockProvisioning", "1");
    store->clearWrites();
    EXPECT_EQ(statusOf({{{"type", "UnlockAllFunctionKeys"}, {"url", "nonsense"}}}), Success);
    std::vector<std::string> written;
    for (const FakePropertyApi::Write& write : store->writes()) {
        written.push_back(write.key);
        EXPECT_EQ(write.value, "0");
    }
    EXPECT_THAT(written,
                ElementsAre("FunctionKeys.0.LockProvisioning", "FunctionKeys.1.LockProvisioning",
                            "FunctionKeys.2.LockProvisioning", "FunctionKeys.3.LockProvisioning",
                            "FunctionKeys.4.LockProvisioning", "FunctionKeys.5.LockProvisioning",
                            "FunctionKeys.6.LockProvisioning", "FunctionKeys.7.LockProvisioning"));
    EXPECT_EQ(store->getValue("FunctionKeys.8.LockProvisioning"), "1");
    EXPECT_THAT(ownLines(), IsEmpty());
}

TEST_F(CustomScenarioTest, UnlockingFailsOnlyWhenTheStoreDoes) {
    store->failWrites("FunctionKeys.3.LockProvisioning");
    EXPECT_EQ(statusOf({{{"type", "UnlockAllFunctionKeys"}}}), Fail);
}

// The table of step types

TEST_F(CustomScenarioTest, TheTableNamesTheStepsThatTheHandlerKnows) {
    for (const ovo::steps::StepType& type : ovo::steps::ALL) {
        log.clear();
        const bool isDone = statusOf({{{"type", type.name}}}) == Success;
        EXPECT_EQ(isDone, !type.needsUrl) << type.name;
        EXPECT_THAT(log.texts(),
                    testing::Not(testing::Contains(testing::HasSubstr("not implemented"))))
            << type.name;
    }
}

} // namespace
