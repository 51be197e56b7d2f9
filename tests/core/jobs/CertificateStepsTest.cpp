// SPDX-License-Identifier: Apache-2.0
#include "CustomScenarioTest.h"
#include "dto/SysConf.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using enum ovo::ProvisioningStatus;

constexpr char FAILED_DOWNLOAD[] = "3 Download from 10.0.0.5 failed: the server is busy";

/// "OPERATION NAME" of each certificate announced.
std::vector<std::string> announced(const FakeIpcClient& bus) {
    std::vector<std::string> result;
    for (const auto& message : bus.published("prov-client/sysconf", "MODIFY_CERTIFICATES")) {
        const Json::Value& list = message.params.parameters()["certificates"];
        EXPECT_EQ(list.size(), 1U);
        EXPECT_FALSE(message.flag);
        for (const Json::Value& entry : list)
            result.push_back(entry["operation"].asString() + " " + entry["name"].asString());
    }
    return result;
}

/// A security service whose certificates and keys are valid, and throw when they are saved.
class UnsavableSecurity : public FakeSecurity {
public:
    static constexpr char TEXT[] = "no space left";

    std::shared_ptr<http::ICertificate> loadCertificate(const std::string&) const override {
        class Unsavable : public http::ICertificate {
        public:
            bool isValid() const override { return true; }
            bool save(const std::string&) const override { throw std::runtime_error(TEXT); }
        };
        return std::make_shared<Unsavable>();
    }
    std::shared_ptr<http::IPrivateKey> loadPrivateKey(const std::string&,
                                                      const std::string&) const override {
        class Unsavable : public http::IPrivateKey {
        public:
            bool isValid() const override { return true; }
            bool save(const std::string&, const std::string&) const override {
                throw std::runtime_error(TEXT);
            }
        };
        return std::make_shared<Unsavable>();
    }
};

class ScenarioTest : public CustomScenarioTest {};

TEST_F(ScenarioTest, HasItsName) {
    EXPECT_EQ(makeHandler().getName(), "CustomScenarioJobHandler");
}

TEST_F(ScenarioTest, WithoutStepsSucceeds) {
    const auto result = run({});
    EXPECT_EQ(result.status(), Success);
    EXPECT_TRUE(result.empty());
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(ScenarioTest, RunsAllStepsAndUnknownOnesDoNotCount) {
    downloader->serve("http://10.0.0.5/prov/ca.pem", "certificate");
    auto result = run({{{"type", "certificate"}, {"url", "/ca.pem"}},
                       {{"type", "Fly"}},
                       {{"type", "Redirect"}, {"url", "/next.xml"}}});
    EXPECT_EQ(result.status(), Success);
    EXPECT_THAT(announced(bus), ElementsAre("Pending ca.pem"));
    EXPECT_THAT(takeFiles(result), SizeIs(1));
    EXPECT_TRUE(log.has(1, "Executing step: \"certificate\""));
    EXPECT_TRUE(log.has(2, "Custom step type \"Fly\" not implemented"));
    EXPECT_FALSE(log.has(1, "Executing step: \"Fly\""));
    EXPECT_TRUE(log.has(1, "Executing step: \"Redirect\""));
}

TEST_F(ScenarioTest, KnowsExactlySevenStepsByTheirExactNames) {
    for (const char* type : {"certificate", "UnlockAllFunctionKeys", "Redirect", "LocalPhoneBook",
                             "Clientcertificate", "Clientkey", "DownloadWallpaper"}) {
        log.clear();
        statusOf({{{"type", type}}});
        EXPECT_TRUE(log.has(1, "Executing step: \"" + std::string(type) + "\"")) << type;
    }
    for (const char* type :
         {"", "Certificate", "unlockAllFunctionKeys", "redirect", "LocalPhonebook",
          "ClientCertificate", "ClientKey", "Downloadwallpaper", "certificate "}) {
        log.clear();
        EXPECT_EQ(statusOf({{{"type", type}}}), Success);
        EXPECT_THAT(log.texts(), ElementsAre("2 CustomScenarioJobHandler: Custom step type \"" +
                                             std::string(type) + "\" not implemented"));
    }
}

TEST_F(ScenarioTest, AFailedStepStopsNoneOfTheOthersAndFailsTheWhole) {
    auto result = run({{{"type", "Redirect"}, {"url", "/1.xml"}},
                       {{"type", "DownloadWallpaper"}, {"url", "/missing.png"}},
                       {{"type", "Redirect"}, {"url", "/2.xml"}}});
    EXPECT_EQ(result.status(), Fail);
    EXPECT_THAT(takeFiles(result), SizeIs(2));
}

TEST_F(ScenarioTest, StepWithoutTypeFailsUnderQuestionMarks) {
    auto result = run({{{"url", "/x.xml"}}, {{"type", "Redirect"}, {"url", "/1.xml"}}});
    EXPECT_EQ(result.status(), Fail);
    EXPECT_THAT(takeFiles(result), SizeIs(1));
    EXPECT_EQ(log.texts().front(), "3 CustomScenarioJobHandler: Error executing step: \"???\" "
                                   "(exception attribute \"type\" is missing)");
}

TEST_F(ScenarioTest, StepThatNeedsAUrlFailsWithoutOne) {
    const std::string missing = "\" (exception attribute \"url\" is missing)";
    for (const std::string type :
         {"certificate", "Clientcertificate", "Clientkey", "DownloadWallpaper", "LocalPhoneBook"}) {
        log.clear();
        EXPECT_EQ(statusOf({{{"type", type}, {"URL", "/a"}}}), Fail);
        EXPECT_THAT(
            log.texts(),
            ElementsAre("1 CustomScenarioJobHandler: Executing step: \"" + type + "\"",
                        "3 CustomScenarioJobHandler: Error executing step: \"" + type + missing));
    }
    EXPECT_THAT(downloader->requests(), IsEmpty());
}

TEST_F(ScenarioTest, WrongUrlFailsTheStep) {
    for (const char* url : {"", "a.pem", "http://"})
        EXPECT_EQ(statusOf({{{"type", "certificate"}, {"url", url}}}), Fail);
    EXPECT_EQ(log.count(3, "Error executing step: \"certificate\" (exception Url is incorrect, "
                           "please verify)"),
              3U);
}

TEST_F(ScenarioTest, NoStepIsBegunOnceTheRunIsCancelled) {
    store->beforeRead = [this](const std::string&) {
        report.cancel();
    };
    auto result =
        run({{{"type", "Redirect"}, {"url", "/1.xml"}}, {{"type", "Redirect"}, {"url", "/2.xml"}}});
    EXPECT_EQ(result.status(), Fail);
    EXPECT_EQ(log.count(1, "Executing step: \"Redirect\""), 1U);
}

TEST_F(ScenarioTest, SecondRunStartsAfresh) {
    node.children = {{{"type", "Redirect"}, {"url", "/1.xml"}}, {{"type", "DownloadWallpaper"}}};
    auto handler = makeHandler();
    EXPECT_EQ(handler.runImpl().status(), Fail);
    node.children = {{{"type", "Redirect"}, {"url", "/1.xml"}}};
    auto result = handler.runImpl();
    EXPECT_EQ(result.status(), Success);
    EXPECT_THAT(takeFiles(result), SizeIs(1));
}

TEST_F(ScenarioTest, ExceptionThatIsNotStandardPasses) {
    bus.beforePublish = [] {
        throw 7;
    };
    downloader->serve("http://10.0.0.5/prov/ca.pem", "certificate");
    node.children = {{{"type", "certificate"}, {"url", "/ca.pem"}}};
    auto handler = makeHandler();
    EXPECT_THROW(handler.runImpl(), int);
}

// "certificate"

class TrustedCertificateTest : public CustomScenarioTest {
protected:
    static constexpr char PATH[] = "/data/certs/_storage/ca.pem";

    void SetUp() override { downloader->serve("http://10.0.0.5/prov/certs/ca.pem", "certificate"); }

    static Step step(const std::string& flags = {}) {
        Step attributes{{"type", "certificate"}, {"url", "/certs/ca.pem"}};
        if (!flags.empty())
            attributes["flags"] = flags;
        return attributes;
    }
};

TEST_F(TrustedCertificateTest, IsFetchedCheckedAndAnnouncedByItsFileNameOnly) {
    bus.beforePublish = [&] {
        EXPECT_EQ(phone.read(PATH), "certificate");
        EXPECT_THAT(security->calls(), ElementsAre(std::string("check ") + PATH));
    };
    EXPECT_EQ(statusOf({step()}), Success);
    EXPECT_THAT(announced(bus), ElementsAre("Pending ca.pem"));
    EXPECT_THAT(bus.published(), SizeIs(1));
    EXPECT_EQ(modeOf(phone.host(PATH)), 0644U);
    EXPECT_THAT(ownLines(), ElementsAre("1 Downloading certificate from URL "
                                        "\"http://10.0.0.5/prov/certs/ca.pem\" with flags \"\"",
                                        "1 Applying certificate \"ca.pem\""));
}

TEST_F(TrustedCertificateTest, IsAcceptedOnlyByTheExactFlag) {
    const std::pair<const char*, const char*> cases[] = {{"FORCE_ACCEPT", "Accept ca.pem"},
                                                         {"force_accept", "Pending ca.pem"},
                                                         {"Force_Accept", "Pending ca.pem"},
                                                         {"FORCE_ACCEPT ", "Pending ca.pem"},
                                                         {"FORCE_ACCEPT,OTHER", "Pending ca.pem"}};
    for (const auto& [flags, message] : cases) {
        bus.clear();
        EXPECT_EQ(statusOf({step(flags)}), Success);
        EXPECT_THAT(announced(bus), ElementsAre(message)) << flags;
    }
    EXPECT_TRUE(log.has(1, "Downloading certificate from URL "
                           "\"http://10.0.0.5/prov/certs/ca.pem\" with flags \"FORCE_ACCEPT\""));
}

TEST_F(TrustedCertificateTest, ThatFailsTheCheckIsAnnouncedAsInvalidAndTheStepSucceeds) {
    security->setUnusable(PATH);
    EXPECT_EQ(statusOf({step(), step("FORCE_ACCEPT")}), Success);
    EXPECT_THAT(announced(bus), ElementsAre("Invalid ca.pem", "Invalid ca.pem"));
}

TEST_F(TrustedCertificateTest, ThatCannotBeFetchedIsNeitherCheckedNorAnnounced) {
    downloader->fail("http://10.0.0.5/prov/certs/ca.pem", 503, "the server is busy");
    EXPECT_EQ(statusOf({step()}), Fail);
    EXPECT_THAT(security->calls(), IsEmpty());
    EXPECT_THAT(bus.published(), IsEmpty());
    EXPECT_THAT(ownLines(), ElementsAre(StartsWith("1 Downloading certificate"), FAILED_DOWNLOAD));
}

TEST_F(TrustedCertificateTest, WhoseCheckThrowsFailsTheStep) {
    security->setCheckError("no memory");
    EXPECT_EQ(statusOf({step("FORCE_ACCEPT")}), Fail);
    EXPECT_THAT(bus.published(), IsEmpty());
    EXPECT_EQ(ownLines().back(), "3 Error applying certificate \"Accept\"=\"ca.pem\"\"no memory\"");
    EXPECT_EQ(reportedCause(), "certificate \"ca.pem\": no memory");
}

TEST_F(TrustedCertificateTest, WhoseAnnouncementThrowsFailsTheStep) {
    bus.beforePublish = [] {
        throw std::runtime_error("no bus");
    };
    security->setUnusable(PATH);
    EXPECT_EQ(statusOf({step()}), Fail);
    EXPECT_EQ(ownLines().back(), "3 Error applying certificate \"Invalid\"=\"ca.pem\"\"no bus\"");
}

TEST_F(TrustedCertificateTest, PlaceholdersAreExpandedInThePathAndNotInTheAnnouncedName) {
    configuration->set("networking.provisioning.MajorId", "hd7k");
    downloader->serve("http://10.0.0.5/prov/%DVID.pem", "certificate");
    EXPECT_EQ(statusOf({{{"type", "certificate"}, {"url", "/%DVID.pem"}}}), Success);
    EXPECT_TRUE(phone.exists("/data/certs/_storage/hd7k.pem"));
    EXPECT_THAT(security->calls(), ElementsAre("check /data/certs/_storage/hd7k.pem"));
    EXPECT_THAT(announced(bus), ElementsAre("Pending %DVID.pem"));
}

TEST_F(TrustedCertificateTest, WhosePathCannotBeWorkedOutFailsTheStepBeforeTheDownload) {
    store->failReads("NET.MAC.Address");
    EXPECT_EQ(statusOf({step("FORCE_ACCEPT")}), Fail);
    EXPECT_THAT(downloader->requests(), IsEmpty());
    EXPECT_THAT(bus.published(), IsEmpty());
    EXPECT_EQ(linesFrom(log, "CustomScenarioJobHandler").back(),
              "3 CustomScenarioJobHandler: Error executing step: \"certificate\" (exception " +
                  errorOf([&] { store->getValue("NET.MAC.Address"); }) + ")");
}

TEST_F(TrustedCertificateTest, FromAnAbsoluteUrlComesFromThere) {
    downloader->serve("https://10.0.0.6:8443/own.pem", "certificate");
    EXPECT_EQ(statusOf({{{"type", "certificate"}, {"url", "https://u:p@10.0.0.6:8443/own.pem"}}}),
              Success);
    EXPECT_EQ(downloader->requests().front().url, "https://u:p@10.0.0.6:8443/own.pem");
    EXPECT_THAT(announced(bus), ElementsAre("Pending own.pem"));
}

// "Clientcertificate"

class ClientCertificateTest : public CustomScenarioTest {
protected:
    static constexpr char FETCHED[] = "/var/volatile/provisioning/custom/user_cert.pem";
    static constexpr char INSTALLED[] = "/data/certs/client/user_cert.pem";

    void SetUp() override { downloader->serve("http://10.0.0.5/prov/me.pem", "certificate"); }

    ovo::ProvisioningStatus runStep() {
        return statusOf({{{"type", "Clientcertificate"}, {"url", "/me.pem"}}});
    }

    std::vector<std::string> callsUpToSaving() const {
        return {std::string("certificate ") + FETCHED,
                std::string("save certificate ") + INSTALLED};
    }
};

TEST_F(ClientCertificateTest, IsFetchedLoadedSavedAndThenAnnounced) {
    bus.beforePublish = [&] {
        EXPECT_EQ(security->calls(), callsUpToSaving());
    };
    EXPECT_EQ(runStep(), Success);
    EXPECT_EQ(security->calls(), callsUpToSaving());
    ASSERT_THAT(bus.published(), SizeIs(1));
    EXPECT_EQ(bus.published()[0].destination, "prov-client/sip-client");
    EXPECT_EQ(bus.published()[0].message, ipc::IPCMessage("update_tls_security"));
    EXPECT_EQ(phone.read(FETCHED), "certificate"); // left in its place
    EXPECT_EQ(downloader->requests()[0].path, FETCHED);
    EXPECT_THAT(ownLines(), ElementsAre("1 Downloading client certificate from URL "
                                        "\"http://10.0.0.5/prov/me.pem\""));
}

TEST_F(ClientCertificateTest, ThatIsInvalidIsNeitherSavedNorAnnounced) {
    security->setInvalid(FETCHED);
    EXPECT_EQ(runStep(), Fail);
    EXPECT_THAT(security->calls(), ElementsAre(std::string("certificate ") + FETCHED));
    EXPECT_THAT(bus.published(), IsEmpty());
}

TEST_F(ClientCertificateTest, ThatCannotBeSavedIsAnnouncedAllTheSame) {
    security->setUnwritable(INSTALLED);
    EXPECT_EQ(runStep(), Fail);
    EXPECT_THAT(bus.published("prov-client/sip-client", "update_tls_security"), SizeIs(1));
}

TEST_F(ClientCertificateTest, WhoseSavingThrowsIsNotAnnounced) {
    security = std::make_shared<UnsavableSecurity>();
    EXPECT_EQ(runStep(), Fail);
    EXPECT_THAT(bus.published(), IsEmpty());
    EXPECT_EQ(ownLines().back(), std::string("3 ") + UnsavableSecurity::TEXT);
}

TEST_F(ClientCertificateTest, ThatCannotBeFetchedIsNotLoaded) {
    downloader->fail("http://10.0.0.5/prov/me.pem", 503, "the server is busy");
    EXPECT_EQ(runStep(), Fail);
    EXPECT_THAT(security->calls(), IsEmpty());
    EXPECT_THAT(bus.published(), IsEmpty());
    EXPECT_EQ(ownLines().back(), FAILED_DOWNLOAD);
}

TEST_F(ClientCertificateTest, ThatCannotBeLoadedIsLoggedWithTheTextAlone) {
    security->setUnreadable(FETCHED);
    EXPECT_EQ(runStep(), Fail);
    EXPECT_EQ(ownLines().back(), std::string("3 Reading ") + FETCHED + " failed");
    EXPECT_THAT(bus.published(), IsEmpty());
}

TEST_F(ClientCertificateTest, WhoseAnnouncementThrowsFailsTheStep) {
    bus.beforePublish = [] {
        throw std::runtime_error("no bus");
    };
    EXPECT_EQ(runStep(), Fail);
    EXPECT_EQ(ownLines().back(), "3 no bus");
}

// "Clientkey"

class ClientKeyTest : public CustomScenarioTest {
protected:
    static constexpr char FETCHED[] = "/var/volatile/provisioning/custom/user_key.pem";
    static constexpr char INSTALLED[] = "/data/certs/client/user_key.pem";
    static constexpr char PASSWORD_FILE[] = "/data/certs/client/user_pass.txt";

    void SetUp() override {
        downloader->serve("http://10.0.0.5/prov/key.pem", "key");
        std::filesystem::create_directories(phone.host("/data/certs/client"));
    }

    ovo::ProvisioningStatus runStep(const std::string& password = "s3cret") {
        return statusOf({{{"type", "Clientkey"}, {"url", "/key.pem"}, {"password", password}}});
    }

    std::vector<ipc::IPCMessage> notifications() const {
        return bus.published("prov-client/sip-client", "update_tls_security");
    }
};

TEST_F(ClientKeyTest, IsFetchedLoadedSavedWithItsPasswordAndThenAnnounced) {
    bus.beforePublish = [&] {
        EXPECT_THAT(security->calls(), SizeIs(2));
        EXPECT_EQ(phone.read(PASSWORD_FILE), "s3cret");
    };
    EXPECT_EQ(runStep(), Success);
    EXPECT_THAT(security->calls(), ElementsAre(std::string("key ") + FETCHED + " s3cret",
                                               std::string("save key ") + INSTALLED + " s3cret"));
    ASSERT_THAT(bus.published(), SizeIs(1));
    EXPECT_EQ(bus.published()[0].destination, "prov-client/sip-client");
    EXPECT_EQ(bus.published()[0].message, ipc::IPCMessage("update_tls_security"));
    EXPECT_EQ(downloader->requests()[0].path, FETCHED);
    EXPECT_THAT(ownLines(), ElementsAre("1 Downloading client private key from URL "
                                        "\"http://10.0.0.5/prov/key.pem\""));
}

TEST_F(ClientKeyTest, FetchedKeyAndPasswordAreTheOwnersOnly) {
    EXPECT_EQ(runStep(), Success);
    EXPECT_EQ(modeOf(phone.host(FETCHED)), 0600U);
    EXPECT_EQ(modeOf(phone.host(PASSWORD_FILE)), 0600U);
}

TEST_F(ClientKeyTest, OldPasswordFileOfAnotherModeIsReplacedByOneOfTheOwnersOnly) {
    for (const unsigned mode : {0644U, 0666U, 0400U}) {
        phone.write(PASSWORD_FILE, "an older and longer password");
        std::filesystem::permissions(phone.host(PASSWORD_FILE),
                                     static_cast<std::filesystem::perms>(mode));
        EXPECT_EQ(runStep("new"), Success);
        EXPECT_EQ(modeOf(phone.host(PASSWORD_FILE)), 0600U);
        EXPECT_EQ(phone.read(PASSWORD_FILE), "new");
        std::filesystem::remove(phone.host(PASSWORD_FILE));
    }
}

TEST_F(ClientKeyTest, PasswordDoesNotFollowALinkThatLiesInItsPlace) {
    phone.write("/public", "nothing secret");
    std::filesystem::create_symlink(phone.host("/public"), phone.host(PASSWORD_FILE));
    EXPECT_EQ(runStep(), Success);
    EXPECT_EQ(phone.read("/public"), "nothing secret");
    EXPECT_EQ(phone.read(PASSWORD_FILE), "s3cret");
}

TEST_F(ClientKeyTest, PasswordIsNeverLogged) {
    const auto runWith = [this](const std::function<void(FakeSecurity&)>& prepare) {
        security = std::make_shared<FakeSecurity>();
        prepare(*security);
        log.clear();
        EXPECT_EQ(runStep(), Fail);
        EXPECT_FALSE(log.mentions("s3cret"));
        return ownLines();
    };
    const auto fetched = StartsWith("1 Downloading client private key from URL ");
    EXPECT_THAT(runWith([](FakeSecurity& fake) { fake.setUnreadable(FETCHED); }),
                ElementsAre(fetched, HasSubstr("failed")));
    EXPECT_THAT(runWith([](FakeSecurity& fake) { fake.setKeyPassword(FETCHED, "other"); }),
                ElementsAre(fetched));
    EXPECT_THAT(runWith([](FakeSecurity& fake) { fake.setUnwritable(INSTALLED); }),
                ElementsAre(fetched));
    phone.write("/data/certs/client/user_pass.txt/in-the-way", "");
    EXPECT_THAT(runWith([](FakeSecurity&) {}), ElementsAre(fetched, HasSubstr(PASSWORD_FILE)));
}

TEST_F(ClientKeyTest, WhoseAnnouncementThrowsFailsTheStepWithItsPasswordWritten) {
    bus.beforePublish = [] {
        throw std::runtime_error("no bus");
    };
    EXPECT_EQ(runStep(), Fail);
    EXPECT_EQ(phone.read(PASSWORD_FILE), "s3cret");
    EXPECT_THAT(ownLines(),
                ElementsAre(StartsWith("1 Downloading client private key from URL "), "3 no bus"));
}

TEST_F(ClientKeyTest, WithoutPasswordLeavesAnEmptyPasswordFile) {
    phone.write(PASSWORD_FILE, "old");
    EXPECT_EQ(statusOf({{{"type", "Clientkey"}, {"url", "/key.pem"}}}), Success);
    EXPECT_TRUE(phone.exists(PASSWORD_FILE));
    EXPECT_EQ(phone.read(PASSWORD_FILE), "");
    EXPECT_THAT(security->calls().front(), std::string("key ") + FETCHED + " ");
}

TEST_F(ClientKeyTest, ThatIsInvalidOrHasAnotherPasswordChangesNothing) {
    security->setKeyPassword(FETCHED, "other");
    EXPECT_EQ(runStep(), Fail);
    security->setInvalid(FETCHED);
    EXPECT_EQ(runStep("other"), Fail);
    EXPECT_THAT(security->calls(), SizeIs(2)); // loaded twice, never saved
    EXPECT_FALSE(phone.exists(PASSWORD_FILE));
    EXPECT_THAT(bus.published(), IsEmpty());
}

TEST_F(ClientKeyTest, ThatCannotBeSavedKeepsTheOldPasswordAndIsNotAnnounced) {
    phone.write(PASSWORD_FILE, "old");
    security->setUnwritable(INSTALLED);
    EXPECT_EQ(runStep(), Fail);
    EXPECT_EQ(phone.read(PASSWORD_FILE), "old");
    EXPECT_THAT(bus.published(), IsEmpty());
}

TEST_F(ClientKeyTest, WhoseSavingThrowsKeepsTheOldPasswordAndIsNotAnnounced) {
    phone.write(PASSWORD_FILE, "old");
    security = std::make_shared<UnsavableSecurity>();
    EXPECT_EQ(runStep(), Fail);
    EXPECT_EQ(phone.read(PASSWORD_FILE), "old");
    EXPECT_THAT(bus.published(), IsEmpty());
    EXPECT_EQ(ownLines().back(), std::string("3 ") + UnsavableSecurity::TEXT);
}

TEST_F(ClientKeyTest, WhosePasswordCannotBeWrittenIsNotAnnounced) {
    phone.write("/data/certs/client/user_pass.txt/in-the-way", "");
    EXPECT_EQ(runStep(), Fail);
    EXPECT_THAT(notifications(), IsEmpty());
    EXPECT_THAT(ownLines().back(), StartsWith("3 "));
    EXPECT_THAT(ownLines().back(), HasSubstr(PASSWORD_FILE));
}

TEST_F(ClientKeyTest, ThatCannotBeFetchedIsNotLoaded) {
    downloader->fail("http://10.0.0.5/prov/key.pem", 503, "the server is busy");
    EXPECT_EQ(runStep(), Fail);
    EXPECT_THAT(security->calls(), IsEmpty());
    EXPECT_FALSE(phone.exists(PASSWORD_FILE));
    EXPECT_EQ(ownLines().back(), FAILED_DOWNLOAD);
}

TEST_F(ClientKeyTest, ThatCannotBeLoadedIsLoggedWithTheTextAlone) {
    security->setUnreadable(FETCHED);
    EXPECT_EQ(runStep(), Fail);
    EXPECT_EQ(ownLines().back(), std::string("3 Reading ") + FETCHED + " failed");
}

} // namespace
