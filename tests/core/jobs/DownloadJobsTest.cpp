// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/FileDownloadHandler.h"
#include "JobTest.h"
#include "http/UrlException.h"

#include <gmock/gmock.h>

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using enum ovo::ProvisioningStatus;

class FileDownloadHandlerTest : public JobTest {
protected:
    ovo::ProvisioningContext run(const std::string& name, const std::string& type,
                                 const std::vector<Attributes>& children) {
        node = {name, type, childrenOf(children)};
        return ovo::FileDownloadHandler(node, store, configuration, server, report).runImpl();
    }

    /// Names of the queued files.
    std::vector<std::string> namesOf(ovo::ProvisioningContext& result) {
        std::vector<std::string> names;
        for (const auto& file : takeFiles(result))
            names.push_back(file.url.fileName);
        return names;
    }

    ovo::ProvisioningNode node;
};

TEST_F(FileDownloadHandlerTest, HasItsName) {
    EXPECT_EQ(ovo::FileDownloadHandler(node, store, configuration, server, report).getName(),
              "FileDownloadHandler");
}

TEST_F(FileDownloadHandlerTest, FailsWithoutAWordOnANodeWithoutChildren) {
    const auto result = run("nvm", "file", {});
    EXPECT_EQ(result.status(), Fail);
    EXPECT_TRUE(result.empty());
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(FileDownloadHandlerTest, QueuesTheFilesInOrderAndReportsNothingYet) {
    auto result = run("nvm", "file", {{{"url", "/a.xml"}}, {{"url", "https://10.0.0.6/d/b.xml"}}});
    EXPECT_EQ(result.status(), NotSet);
    const auto files = takeFiles(result);
    ASSERT_THAT(files, SizeIs(2));
    EXPECT_EQ(files[0].serverAddress, server);
    EXPECT_EQ(files[0].url.getUrl(), "http://10.0.0.5/prov/a.xml");
    EXPECT_EQ(files[0].path, "/var/volatile/provisioning/nvm/a.xml");
    EXPECT_EQ(files[1].serverAddress, server);
    EXPECT_EQ(files[1].url.getUrl(), "https://10.0.0.6/d/b.xml");
    EXPECT_EQ(files[1].path, "/var/volatile/provisioning/nvm/b.xml");
    EXPECT_THAT(
        log.texts(),
        ElementsAre("1 FileDownloadHandler: Running FileDownloadHandlerJob on: nvm/file (2)",
                    "1 FileDownloadHandler: New provisioning file: http://10.0.0.5/prov/a.xml",
                    "1 FileDownloadHandler: Running FileDownloadHandlerJob on: nvm/file (2)",
                    "1 FileDownloadHandler: New provisioning file: https://10.0.0.6/d/b.xml"));
}

TEST_F(FileDownloadHandlerTest, DownloadsNothingItself) {
    run("nvm", "file", {{{"url", "/a.xml"}}});
    EXPECT_THAT(downloader->requests(), IsEmpty());
}

TEST_F(FileDownloadHandlerTest, ExpandsPlaceholdersInTheLocalPathOnly) {
    store->setValue("NET.MAC.Address", "02:11:22:aa:bb:cc");
    auto result = run("custom", "file", {{{"url", "/%MACD.xml"}}});
    const auto files = takeFiles(result);
    ASSERT_THAT(files, SizeIs(1));
    EXPECT_EQ(files[0].url.fileName, "%MACD.xml");
    EXPECT_EQ(files[0].path, "/var/volatile/provisioning/custom/02-11-22-aa-bb-cc.xml");
}

TEST_F(FileDownloadHandlerTest, AcceptsExactlyThreeTypesOfCategories) {
    auto result = run("provisioning", "category",
                      {{{"type", "firmware"}, {"url", "/f.xml"}},
                       {{"type", "nvm"}, {"url", "/n.xml"}},
                       {{"type", "custom"}, {"url", "/c.xml"}}});
    EXPECT_EQ(result.status(), NotSet);
    EXPECT_THAT(namesOf(result), ElementsAre("f.xml", "n.xml", "c.xml"));
    for (const char* other :
         {"", "Firmware", "NVM", "settings", "scenario", "provisioning", "nvm "})
        EXPECT_EQ(run("provisioning", "category", {{{"type", other}, {"url", "/a.xml"}}}).status(),
                  Fail)
            << other;
}

TEST_F(FileDownloadHandlerTest, SkipsACategoryOfAnotherTypeAndQueuesTheOthers) {
    auto result = run("provisioning", "category",
                      {{{"type", "nvm"}, {"url", "/1.xml"}},
                       {{"type", "Firmware"}, {"url", "/2.xml"}},
                       {{"type", "custom"}, {"url", "/3.xml"}}});
    EXPECT_EQ(result.status(), Fail);
    EXPECT_THAT(namesOf(result), ElementsAre("1.xml", "3.xml"));
    EXPECT_THAT(
        log.texts(),
        ElementsAre(
            "1 FileDownloadHandler: Running FileDownloadHandlerJob on: provisioning/category (3)",
            "1 FileDownloadHandler: New provisioning file: http://10.0.0.5/prov/1.xml",
            "1 FileDownloadHandler: Running FileDownloadHandlerJob on: provisioning/category (3)",
            "2 FileDownloadHandler: Attribute \"type\" of \"category\" is \"Firmware\", which is "
            "not a category",
            "3 FileDownloadHandler: Node category failed to validate",
            "1 FileDownloadHandler: Running FileDownloadHandlerJob on: provisioning/category (3)",
            "1 FileDownloadHandler: New provisioning file: http://10.0.0.5/prov/3.xml"));
}

TEST_F(FileDownloadHandlerTest, DoesNotLookAtTheTypeOfOtherNodes) {
    auto result = run("nvm", "file", {{{"type", "nonsense"}, {"url", "/a.xml"}}});
    EXPECT_EQ(result.status(), NotSet);
    EXPECT_THAT(namesOf(result), ElementsAre("a.xml"));
}

TEST_F(FileDownloadHandlerTest, SkipsChildrenThatAreIncompleteOrWrong) {
    const struct {
        const char* type;
        Attributes child;
        std::string error;
    } cases[] = {
        {"category", {{"url", "/a.xml"}}, "attribute \"type\" is missing"},
        {"category", {{"type", "nvm"}}, "attribute \"url\" is missing"},
        {"file", {{"version", "1"}}, "attribute \"url\" is missing"},
        {"file", {{"url", ""}}, "Empty url attribute."},
        {"file", {{"url", "a.xml"}}, "Url is incorrect, please verify"},
    };
    for (const auto& [type, child, error] : cases) {
        SCOPED_TRACE(error);
        log.clear();
        auto result = run("provisioning", type, {child, {{"type", "nvm"}, {"url", "/good.xml"}}});
        EXPECT_EQ(result.status(), Fail);
        EXPECT_THAT(namesOf(result), ElementsAre("good.xml"));
        EXPECT_EQ(log.count(3, error), 1U);
    }
}

TEST_F(FileDownloadHandlerTest, QueuesNothingInACancelledRun) {
    store->beforeRead = [this](const std::string&) {
        report.cancel();
    };
    auto result = run("nvm", "file", {{{"url", "/a.xml"}}, {{"url", "/b.xml"}}});
    EXPECT_EQ(result.status(), Fail);
    EXPECT_TRUE(result.empty());
    EXPECT_EQ(log.count(1, "New provisioning file: http://10.0.0.5/prov/b.xml"), 0U);
}

TEST_F(FileDownloadHandlerTest, SkipsAChildWhenTheStoreFails) {
    store->failReads("NET.MAC.Address");
    auto result = run("nvm", "file", {{{"url", "/a.xml"}}});
    EXPECT_EQ(result.status(), Fail);
    EXPECT_TRUE(result.empty());
    EXPECT_TRUE(log.has(3, errorOf([&] { store->getValue("NET.MAC.Address"); })));
}

TEST_F(FileDownloadHandlerTest, ValidationThrowsForCategoriesOnly) {
    node = {"provisioning", "category", {}};
    ovo::FileDownloadHandler handler(node, store, configuration, server, report);
    EXPECT_NO_THROW(handler.validateNode(ovo::LeafChildren{{{"type", "firmware"}}}[0]));
    EXPECT_THROW(handler.validateNode(ovo::LeafChildren{{{"type", "Firmware"}}}[0]),
                 std::runtime_error);
    EXPECT_THROW(handler.validateNode({}), std::out_of_range);
    node.type = "file";
    EXPECT_FALSE(handler.validateNode({}));
}

class LocalPhoneBookUpdaterTest : public JobTest {
protected:
    static constexpr char URL[] = "http://10.0.0.5/book/contacts.xml";
    static constexpr char FILE_NAME[] = "State.LocalDirectoryUpdate.FileName";
    static constexpr char VERIFY[] = "State.LocalDirectoryUpdate.Verify";

    void serve() { downloader->serve(URL, "contacts"); }
};

TEST_F(LocalPhoneBookUpdaterTest, StoresTheFileAndThenAsksForItsCheck) {
    serve();
    phoneBook.setUrl(http::UrlInfo(URL));
    EXPECT_TRUE(phoneBook.update());
    EXPECT_EQ(phone.read("/var/volatile/contacts/contacts.xml"), "contacts");
    EXPECT_THAT(store->writes(),
                ElementsAre(FakePropertyApi::Write{FILE_NAME, "contacts.xml", "", 1},
                            FakePropertyApi::Write{VERIFY, "request", "", 2}));
    EXPECT_THAT(log.texts(), ElementsAre("1 LocalPhoneBookUpdater: Downloading PhoneBook from URL: "
                                         "http://10.0.0.5/book/contacts.xml"));
}

TEST_F(LocalPhoneBookUpdaterTest, ReadableForTheServiceThatShowsIt) {
    serve();
    phoneBook.setUrl(http::UrlInfo(URL));
    ASSERT_TRUE(phoneBook.update());
    EXPECT_EQ(modeOf(phone.host("/var/volatile/contacts/contacts.xml")), 0644U);
}

TEST_F(LocalPhoneBookUpdaterTest, MakesTheMissingDirectoryBeforeTheDownload) {
    unsigned int mode = 0;
    downloader->setProgressCallback([&](long, long, long, long) {
        mode = modeOf(phone.host("/var/volatile/contacts"));
        return 0;
    });
    phoneBook.setUrl(http::UrlInfo(URL));
    EXPECT_FALSE(phoneBook.update()); // nothing is served
    EXPECT_EQ(mode, 0775U);
}

TEST_F(LocalPhoneBookUpdaterTest, LeavesAnExistingDirectoryAsItIs) {
    const std::string directory = phone.host("/var/volatile/contacts");
    phone.write("/var/volatile/contacts/old.xml", "old");
    std::filesystem::permissions(directory, std::filesystem::perms::owner_all);
    serve();
    phoneBook.setUrl(http::UrlInfo(URL));
    EXPECT_TRUE(phoneBook.update());
    EXPECT_EQ(modeOf(directory), 0700U);
    EXPECT_EQ(phone.read("/var/volatile/contacts/old.xml"), "old");
}

TEST_F(LocalPhoneBookUpdaterTest, WritesNothingAfterAFailedDownload) {
    downloader->fail(URL, 503, "the server is busy");
    phone.write("/var/volatile/contacts/contacts.xml", "old");
    phoneBook.setUrl(http::UrlInfo(URL));
    EXPECT_FALSE(phoneBook.update());
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_EQ(phone.read("/var/volatile/contacts/contacts.xml"), "old");
    EXPECT_THAT(linesFrom(log, "LocalPhoneBookUpdater"),
                ElementsAre("1 LocalPhoneBookUpdater: Downloading PhoneBook from URL: "
                            "http://10.0.0.5/book/contacts.xml",
                            "3 LocalPhoneBookUpdater: Download from 10.0.0.5 failed: the server is "
                            "busy"));
}

TEST_F(LocalPhoneBookUpdaterTest, FailsWhenTheDirectoryCannotBeMade) {
    phone.write("/var/volatile/contacts", "a file in the way");
    serve();
    phoneBook.setUrl(http::UrlInfo(URL));
    EXPECT_FALSE(phoneBook.update());
    EXPECT_THAT(downloader->requests(), IsEmpty());
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_THAT(log.texts().back(), StartsWith("3 LocalPhoneBookUpdater: "));
}

TEST_F(LocalPhoneBookUpdaterTest, AsksForNoCheckWhenTheNameCannotBeWritten) {
    serve();
    store->failWrites(FILE_NAME);
    phoneBook.setUrl(http::UrlInfo(URL));
    EXPECT_FALSE(phoneBook.update());
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_TRUE(log.has(3, errorOf([&] { store->setValue(FILE_NAME, "x"); })));
}

TEST_F(LocalPhoneBookUpdaterTest, FailsWhenTheRequestCannotBeWritten) {
    serve();
    store->failWrites(VERIFY);
    phoneBook.setUrl(http::UrlInfo(URL));
    EXPECT_FALSE(phoneBook.update());
    EXPECT_THAT(store->writesOf(FILE_NAME), ElementsAre("contacts.xml"));
}

TEST_F(LocalPhoneBookUpdaterTest, UsesTheUrlLastSetUntilAnotherIsSet) {
    serve();
    downloader->serve("http://10.0.0.6/other.xml", "other");
    phoneBook.setUrl(http::UrlInfo("http://10.0.0.9/never.xml"));
    phoneBook.setUrl(http::UrlInfo(URL));
    EXPECT_THAT(downloader->requests(), IsEmpty()); // setting alone fetches nothing
    EXPECT_TRUE(phoneBook.update());
    EXPECT_TRUE(phoneBook.update());
    phoneBook.setUrl(http::UrlInfo("http://10.0.0.6/other.xml"));
    EXPECT_TRUE(phoneBook.update());
    std::vector<std::string> urls;
    for (const auto& request : downloader->requests())
        urls.push_back(request.url);
    EXPECT_THAT(urls, ElementsAre(URL, URL, "http://10.0.0.6/other.xml"));
}

TEST_F(LocalPhoneBookUpdaterTest, FailsInTheDownloadBeforeAnyUrlIsSet) {
    EXPECT_FALSE(phoneBook.update());
    EXPECT_THAT(downloader->requests(), SizeIs(1));
    EXPECT_THAT(store->writes(), IsEmpty());
    EXPECT_EQ(log.texts().front(), "1 LocalPhoneBookUpdater: Downloading PhoneBook from URL: ://");
    EXPECT_THAT(log.texts().back(), StartsWith("3 LocalPhoneBookUpdater: "));
}

// For the thread sanitizer: a run that sets the URL, and the timer that renews the phone book.
TEST_F(LocalPhoneBookUpdaterTest, ANewUrlMayMeetARenewal) {
    serve();
    phoneBook.setUrl(http::UrlInfo(URL));
    std::atomic<bool> over = false;
    std::thread run([&] {
        while (!over) {
            phoneBook.setUrl(http::UrlInfo(URL));
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 20; ++round)
        EXPECT_TRUE(phoneBook.update());
    over = true;
    run.join();
}

} // namespace
