// SPDX-License-Identifier: Apache-2.0
#include "OvoApplication.h"

#include "RecordingFakes.h"
#include "support/http/FakeRestApi.h"
#include "support/ipc/FakeMessageThread.h"
#include "support/process/PhoneRoot.h"
#include "support/process/TimeZone.h"
#include "support/process/WaitUntil.h"
#include "support/security/FakePhoneConfig.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <future>

namespace {

using testing::ElementsAre;

/// A phone with this address provisions two hours after midnight.
constexpr char MAC_OF_TWO_HOURS[] = "02:00:5E:00:15:0F";

constexpr char WORKING_ROOT[] = "/var/volatile/provisioning/";
constexpr char NOTICE[] =
    "Directory /var/volatile/provisioning/ does not exist. It will be created.";

/// What the application finds around it.
struct Phone {
    Phone() {
        // Both there, so that nobody waits for them.
        propertyApi->setValue("System.Provision.FactoryAuthUsername", "u");
        propertyApi->setValue("System.Provision.FactoryAuthPassword", "p");
        propertyApi->setValue("System.Provision.Period", "3600");
        journal.clear();
    }

    PhoneRoot root;
    Journal journal;
    std::shared_ptr<RecordingPropertyApi> propertyApi =
        std::make_shared<RecordingPropertyApi>(journal);
    std::shared_ptr<RecordingIpcClient> ipcClient = std::make_shared<RecordingIpcClient>(journal);
    std::shared_ptr<FakePhoneConfig> phoneConfig = std::make_shared<FakePhoneConfig>();
    std::shared_ptr<FakeMessageThread> messageThread = std::make_shared<FakeMessageThread>();
    std::shared_ptr<FakeRestApi> restApi = std::make_shared<FakeRestApi>();
};

/// The daemon in a phone of fakes.
class TestApplication : public ovo::OvoApplication {
public:
    explicit TestApplication(Phone& phone)
        : OvoApplication("OVO", "prov-client"), restApi_(phone.restApi), journal_(phone.journal) {
        phoneConfig = phone.phoneConfig;
        messageThreadStrategy = phone.messageThread;
        propertyApi = phone.propertyApi;
        ipcClient = phone.ipcClient;
    }

    void init() override {}
    std::shared_ptr<http::IRestApi> getRESTApi() override { return restApi_; }
    void setupWorkingDirectory(const std::string& path) override {
        journal_.add("directory " + path);
        OvoApplication::setupWorkingDirectory(path);
    }

private:
    std::shared_ptr<http::IRestApi> restApi_;
    Journal& journal_;
};

class OvoApplicationTest : public testing::Test {
protected:
    ~OvoApplicationTest() override { phone.restApi->release(); }

    /// Sets up, and routes the bus to the application.
    void start() {
        application->setup();
        ipc::HandlersMap handlers;
        application->setupHandlersMap(handlers);
        phone.ipcClient->activate(std::move(handlers), {});
    }

    ipc::IpcMsgParams request(const std::string& name, const ipc::IpcMsgParams& params = {}) {
        const auto answer = phone.ipcClient->request(name, params);
        return answer ? answer->params : ipc::IpcMsgParams();
    }

    /// Both services say that they are ready.
    void answerBoth() {
        for (const char* name : {"networkmanager", "phoneui"}) {
            ipc::IpcMsgParams ready;
            ready.add("name", name);
            ready.add("value", true);
            EXPECT_TRUE(request("AreYouReadyResponse", ready).empty());
        }
    }

    /// The user types credentials in.
    void answerUserQuestion() {
        ipc::IpcMsgParams credentials;
        credentials.add("username", "u");
        credentials.add("password", "p");
        EXPECT_TRUE(request("HttpCredentialsEntered", credentials).empty());
    }

    static ipc::IpcMsgParams location(const std::string& url) {
        ipc::IpcMsgParams params;
        params.add("location", url);
        return params;
    }

    mode_t modeOf(const std::string& path) const {
        struct stat status {};
        return ::stat(phone.root.host(path).c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
    }

    Phone phone;
    std::unique_ptr<TestApplication> application = std::make_unique<TestApplication>(phone);
};

TEST_F(OvoApplicationTest, SetupBuildsEverythingInItsOrder) {
    application->setup();
    EXPECT_THAT(
        phone.journal.calls(),
        ElementsAre("directory /var/volatile/provisioning/firmware/",
                    "directory /var/volatile/provisioning/nvm/",
                    "directory /var/volatile/provisioning/custom/",
                    "directory /var/volatile/provisioning/provisioning/", // worker
                    "get State.Provisioning.Report", "subscribe State.Network.Ready",
                    "set State.Provisioning.InProgress=0",
                    "set State.Provisioning=fail",     // start-up provisioning
                    "get State.Provisioning.OnBootUp", // message handlers
                    "subscribe State.Provisioning", "subscribe State.FirmwareUpdate.TriggerAuto",
                    "subscribe State.Security.Certificates.UpdateCABundle",
                    "subscribe System.Provision.ProvisioningServer", // timer
                    "subscribe System.Provision.Period", "subscribe State.System.TimeChanged",
                    "subscribe State.LocalDirectoryUpdate.Period", "get System.Provision.Period",
                    "get State.LocalDirectoryUpdate.Period", "get NET.MAC.Address",
                    "get System.Provision.FactoryAuthUsername",
                    "get System.Provision.FactoryAuthPassword"));
    EXPECT_THAT(phone.journal.log().texts(),
                ElementsAre(std::string("2 OvoApplication: ") + NOTICE,
                            "1 GlobalConfig: Waiting for factory auth user name and password",
                            "1 GlobalConfig: Preconditions are met",
                            "1 ProvisioningTimer: Setting timer",
                            "1 ProvisioningTimer: Next provisioning after 3600 seconds.",
                            "1 ProvisioningTimer: Timer setting done",
                            "1 ProvisioningTimer: Timer set to 3600 seconds"));
}

TEST_F(OvoApplicationTest, SetupMakesTheWorkingDirectories) {
    const mode_t before = ::umask(0077);
    application->setup();
    ::umask(before);
    for (const char* name : {"firmware/", "nvm/", "custom/", "provisioning/"})
        EXPECT_EQ(modeOf(std::string(WORKING_ROOT) + name), 0775U) << name;
    EXPECT_EQ(phone.journal.log().count(2, NOTICE), 1U);
}

TEST_F(OvoApplicationTest, WithTheWorkingRootThereSetupMakesWhatIsMissingWithoutAWord) {
    phone.root.write("/var/volatile/provisioning/nvm/file.xml", "kept");
    application->setup();
    for (const char* name : {"firmware/", "nvm/", "custom/", "provisioning/"})
        EXPECT_NE(modeOf(std::string(WORKING_ROOT) + name), 0U) << name;
    EXPECT_FALSE(phone.journal.log().has(2, NOTICE));
    EXPECT_EQ(phone.root.read("/var/volatile/provisioning/nvm/file.xml"), "kept");
}

TEST_F(OvoApplicationTest, ADirectoryThatCannotBeMadeIsLoggedAndTheStartGoesOn) {
    phone.root.write("/var/volatile/provisioning/custom", "a file in the way");
    application->setup();
    EXPECT_TRUE(phone.journal.log().has(
        3, "Unable to create directory: /var/volatile/provisioning/custom/"));
    EXPECT_NE(modeOf("/var/volatile/provisioning/provisioning/"), 0U);
    EXPECT_TRUE(phone.journal.log().has(1, "Timer set to 3600 seconds"));
}

TEST_F(OvoApplicationTest, TheRequestTableHasFourEntries) {
    ipc::HandlersMap handlers;
    application->setupHandlersMap(handlers);
    std::vector<std::string> names;
    for (const auto& [name, handler] : handlers)
        names.push_back(name);
    EXPECT_THAT(names, ElementsAre("AreYouBusy", "AreYouReadyResponse", "HttpCredentialsEntered",
                                   "startProvisioning"));
}

TEST_F(OvoApplicationTest, TheTopicsAreAppendedInThisOrder) {
    std::vector<std::string> topics = {"before"};
    application->setupSubscriptions(topics);
    EXPECT_THAT(topics, ElementsAre("before", "auto-reboot/prov-client", "watchdog/prov-client",
                                    "sip-client/prov-client", "netmgr/prov-client",
                                    "phone-ui/prov-client"));
}

TEST_F(OvoApplicationTest, TheCachedKeysAreAppendedInThisOrder) {
    std::vector<std::string> keys = {"before"};
    application->setupNvmCacheParameters(keys);
    EXPECT_THAT(keys, ElementsAre("before", "NET.MAC.Address", "Telephony.PhoneSystem.Type",
                                  "System.Security.", "System.Provision.", "System.General.",
                                  "FunctionKeys.%.LockProvisioning"));
}

TEST_F(OvoApplicationTest, ARequestBeforeTheBootUpIsDropped) {
    start();
    EXPECT_TRUE(request("startProvisioning", location("http://h/p.xml")).empty());
    EXPECT_FALSE(phone.journal.log().has(1, "Start provisioning thread"));
}

TEST_F(OvoApplicationTest, ARequestForARunIsServedWithItsLocation) {
    phone.propertyApi->setValue("State.Provisioning.OnBootUp", "done");
    phone.restApi->serve(
        "http://h/p.xml",
        R"(<settings version="1.1"><param name="Some.Key" value="1"/></settings>)");
    phone.restApi->hold();
    start();
    EXPECT_TRUE(request("startProvisioning", location("http://h/p.xml")).empty());
    ipc::IpcMsgParams busy;
    busy.add("isBusy", true);
    EXPECT_EQ(request("AreYouBusy"), busy);
    phone.restApi->release();
    EXPECT_TRUE(phone.journal.log().waitFor(1, "Provisioning succeeded. Status: success"));
    EXPECT_EQ(phone.propertyApi->getValue("Some.Key"), "1");
    ipc::IpcMsgParams idle;
    idle.add("isBusy", false);
    EXPECT_EQ(request("AreYouBusy"), idle);
}

TEST_F(OvoApplicationTest, ARequestWithoutALocationStartsNothing) {
    phone.propertyApi->setValue("State.Provisioning.OnBootUp", "done");
    start();
    ipc::IpcMsgParams error;
    error.add("error", "wrong parameter requested [location]");
    EXPECT_EQ(request("startProvisioning"), error);
    EXPECT_FALSE(phone.journal.log().has(1, "Start provisioning thread"));
}

TEST_F(OvoApplicationTest, CredentialsAndReadinessAreServedWithoutParametersInTheReply) {
    start();
    answerUserQuestion();
    EXPECT_TRUE(phone.journal.log().has(1, "Received httpAuthPasswordChanged: "));
    answerBoth();
    EXPECT_TRUE(phone.journal.log().has(1, "network manager is ready"));
    EXPECT_TRUE(phone.journal.log().has(1, "phoneui is ready"));
}

TEST_F(OvoApplicationTest, TheBootUpIsStartedByATaskOfTheMessageThread) {
    start();
    answerBoth();
    auto waiting = std::async(std::launch::async, [this] { application->waitForTermination(); });
    ASSERT_TRUE(phone.messageThread->waitForTasks(1));
    EXPECT_FALSE(phone.journal.log().mentions("performing ovo bootup procedure"));
    phone.messageThread->runAll();
    EXPECT_TRUE(phone.journal.log().waitFor(
        1, "PhoneUi and Network are ready, performing ovo bootup procedure..."));
    EXPECT_TRUE(phone.journal.waitFor("set State.Provisioning.OnBootUp=done"));
    application->signalTermination();
    waiting.get();
}

TEST_F(OvoApplicationTest, AnUnhealthyFrameworkIsUnhealthyWithoutWaitingForProgress) {
    phone.propertyApi->setValue("State.Provisioning.OnBootUp", "done");
    start();
    phone.restApi->hold();
    request("startProvisioning", location("http://h/p.xml"));
    EXPECT_FALSE(application->checkHealthStatus()) << "exec() has not brought it up";
    EXPECT_FALSE(phone.journal.log().has(1, "Waiting for progress"));
}

TEST_F(OvoApplicationTest, AHealthyFrameworkWaitsForTheProgressOfARun) {
    phone.propertyApi->setValue("State.Provisioning.OnBootUp", "done");
    std::thread exec([this] { application->exec(); });
    ASSERT_TRUE(waitUntil([&] { return phone.ipcClient->isActive(); }));
    ASSERT_TRUE(phone.messageThread->waitForTasks(1)); // it waits for termination
    EXPECT_TRUE(application->checkHealthStatus()) << "no run, no wait";
    EXPECT_FALSE(phone.journal.log().has(1, "Waiting for progress"));
    phone.restApi->hold();
    request("startProvisioning", location("http://h/p.xml"));
    EXPECT_TRUE(application->checkHealthStatus());
    EXPECT_TRUE(phone.journal.log().has(1, "Progress consumed"));
    phone.restApi->release();
    application->signalTermination();
    exec.join();
}

TEST_F(OvoApplicationTest, AHealthCheckThatWaitsForProgressEndsWhenTheRunAsksTheUser) {
    phone.propertyApi->setValue("State.Provisioning.OnBootUp", "done");
    phone.phoneConfig->set("ui.security.CredentialRequestTimeout", "600");
    phone.restApi->serveEverything({.status = 401});
    phone.restApi->hold();
    std::thread exec([this] { application->exec(); });
    ASSERT_TRUE(phone.messageThread->waitForTasks(1)); // it waits for termination
    request("startProvisioning", location("http://h/p.xml"));
    EXPECT_TRUE(application->checkHealthStatus()) << "the start of the run";
    auto check =
        std::async(std::launch::async, [this] { return application->checkHealthStatus(); });
    EXPECT_TRUE(
        waitUntil([&] { return phone.journal.log().count(1, "Waiting for progress") == 2; }));
    phone.restApi->release();
    EXPECT_EQ(check.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_TRUE(phone.ipcClient->waitForPublished("prov-client/phone-ui", "GetHttpCredentials"));
    EXPECT_TRUE(application->checkHealthStatus()) << "nobody waits for what waits for the user";
    EXPECT_EQ(phone.journal.log().count(1, "Waiting for progress"), 2U);
    answerUserQuestion();
    EXPECT_TRUE(check.get());
    application->signalTermination();
    exec.join();
}

TEST_F(OvoApplicationTest, TheEndOfTheProcessEndsAQuestionToTheUser) {
    phone.propertyApi->setValue("State.Provisioning.OnBootUp", "done");
    phone.phoneConfig->set("ui.security.CredentialRequestTimeout", "600");
    phone.restApi->serveEverything({.status = 401});
    start();
    request("startProvisioning", location("http://h/p.xml"));
    ASSERT_TRUE(phone.ipcClient->waitForPublished("prov-client/phone-ui", "GetHttpCredentials"));
    application->signalTermination();
    EXPECT_TRUE(phone.journal.log().waitFor(1, "Provisioning failed. "));
    EXPECT_TRUE(
        phone.journal.log().mentions("HTTP credentials input cancelled: the process is ending"));
    answerUserQuestion(); // ends a question that is still open
}

TEST_F(OvoApplicationTest, DestructionWaitsForARunWhichStillUsesEverything) {
    phone.propertyApi->setValue("State.Provisioning.OnBootUp", "done");
    phone.restApi->serve("http://h/p.xml",
                         R"(<custom version="1.1">)"
                         R"(<step type="LocalPhoneBook" url="http://h/book.xml"/></custom>)");
    phone.restApi->serve("http://h/book.xml", "<book/>");
    phone.restApi->hold();
    start();
    request("startProvisioning", location("http://h/p.xml"));
    ASSERT_TRUE(phone.restApi->waitForRequests(1));
    auto destroyed = std::async(std::launch::async, [this] { application.reset(); });
    // What was made after the worker has gone: its turn has come.
    EXPECT_TRUE(
        waitUntil([&] { return phone.propertyApi->subscriptionsOf("State.Provisioning") == 0; }));
    phone.restApi->release();
    destroyed.get();
    EXPECT_EQ(phone.root.read("/var/volatile/contacts/book.xml"), "<book/>");
    EXPECT_TRUE(phone.journal.log().has(1, "Provisioning succeeded. Status: success"));
}

TEST_F(OvoApplicationTest, ItsPartsGoInTheReverseOrderOfTheirMaking) {
    const std::map<std::string, std::string> owners = {
        {"System.Provision.Period", "timer"},
        {"State.System.TimeChanged", "timer"},
        {"State.LocalDirectoryUpdate.Period", "timer"},
        {"State.Provisioning", "message handlers"},
        {"State.FirmwareUpdate.TriggerAuto", "message handlers"},
        {"State.Security.Certificates.UpdateCABundle", "message handlers"},
        {"System.Provision.ProvisioningServer", "message handlers"},
        {"State.Network.Ready", "worker"}};
    application->setup();
    application.reset();
    std::vector<std::string> ended; // by whom, subscriptions in a row as one
    const std::string prefix = "unsubscribe ";
    for (const std::string& call : phone.journal.calls({prefix})) {
        const std::string& owner = owners.at(call.substr(prefix.size()));
        if (ended.empty() || ended.back() != owner)
            ended.push_back(owner);
    }
    EXPECT_THAT(ended, ElementsAre("timer", "message handlers", "worker"));
    EXPECT_EQ(phone.journal.calls({prefix}).size(), owners.size());
}

TEST_F(OvoApplicationTest, AFireOfTheTimerLeavesTheRunToATaskOfTheMessageThread) {
    phone.propertyApi->setValue("State.Provisioning.OnBootUp", "done");
    phone.propertyApi->setValue("System.Provision.Period", "");
    phone.propertyApi->setValue("System.Provision.ProvisioningServer", "http://h/p.xml");
    phone.propertyApi->setValue("NET.MAC.Address", MAC_OF_TWO_HOURS);
    const TimeZone zone(TimeZone::at(std::chrono::hours(2) - std::chrono::seconds(2)));
    start();
    EXPECT_EQ(phone.messageThread->waiting(), 0U);
    ASSERT_TRUE(phone.journal.log().waitFor(1, "Provisioning timer: Preparing to restart timer"));
    EXPECT_TRUE(phone.journal.log().mentions(" Provisioning ready to go "));
    EXPECT_EQ(phone.messageThread->waiting(), 1U);
    EXPECT_FALSE(phone.journal.log().has(1, "Start provisioning thread"));

    EXPECT_TRUE(phone.messageThread->runOne());
    EXPECT_TRUE(phone.journal.log().has(1, "Start provisioning thread"));
    EXPECT_TRUE(phone.restApi->waitForRequests(1));
    EXPECT_EQ(phone.messageThread->waiting(), 0U);
    application.reset(); // the timer looks at the zone
}

} // namespace
