// SPDX-License-Identifier: Apache-2.0
// Where the application calls the framework that it is built on. The framework is played by this
// file in place of the real one, whose own lists of requests and topics are empty.

#include "OvoApplication.h"
#include "RecordingFakes.h"
#include "support/ipc/FakeMessageThread.h"
#include "support/process/PhoneRoot.h"
#include "support/security/FakePhoneConfig.h"

#include <gmock/gmock.h>

namespace {

/// Where the framework notes that it is called; one test at a time.
Journal* theJournal = nullptr;
bool isHealthy = true;

} // namespace

namespace app {

struct HaldenApplication::Impl {};

HaldenApplication::HaldenApplication(const std::string&, const std::string&) {}
HaldenApplication::~HaldenApplication() = default;

void HaldenApplication::setupHandlersMap(ipc::HandlersMap& handlers) {
    theJournal->add("handlers after " + std::to_string(handlers.size()));
    for (const char* name : {"OfTheFramework", "AreYouBusy"})
        handlers[name] = [](const ipc::IpcMsgParams&) {
            ipc::IpcMsgParams reply;
            reply.add("served by", "the framework");
            return reply;
        };
}

void HaldenApplication::setupSubscriptions(std::vector<std::string>& topics) {
    topics.push_back("framework/prov-client");
}

void HaldenApplication::setupNvmCacheParameters(std::vector<std::string>& keys) {
    keys.push_back("Of.The.Framework");
}

void HaldenApplication::waitForTermination() {
    theJournal->add("framework waits");
}

bool HaldenApplication::checkHealthStatus() {
    theJournal->add("framework checked");
    return isHealthy;
}

bool HaldenApplication::sleepFor(std::chrono::milliseconds) const {
    return true;
}

std::shared_ptr<http::IRestApi> HaldenApplication::getRESTApi() {
    theJournal->add("REST interface");
    return nullptr;
}

void HaldenApplication::onTermination(std::function<void()>) {}
void HaldenApplication::signalTermination() {}
void HaldenApplication::setupPhoneConfig() {}
void HaldenApplication::setup() {}
void HaldenApplication::cleanup() {}
void HaldenApplication::setupProceduresMap(ipc::ProceduresMap&) {}
void HaldenApplication::createMessageThreadStrategy() {}
void HaldenApplication::createIpcClient() {}
void HaldenApplication::createPropertyApi() {}
void HaldenApplication::setupSignalHandlers() {}
void HaldenApplication::onPhoneSystemChanged() {}
void HaldenApplication::init() {}
bool HaldenApplication::getTerminationFlag() const {
    return false;
}
void HaldenApplication::onProxyChanged() {}
void HaldenApplication::onCurlDnsCacheTimeoutChanged() {}
void HaldenApplication::setupWorkingDirectory(const std::string&) {}

} // namespace app

namespace {

using testing::ElementsAre;
using testing::Not;

/// Notes "post".
class NotingMessageThread : public FakeMessageThread {
public:
    explicit NotingMessageThread(Journal& journal) : journal_(journal) {}

    void post(std::function<void()> task) override {
        journal_.add("post");
        FakeMessageThread::post(std::move(task));
    }

private:
    Journal& journal_;
};

class FrameworkCallsTest : public testing::Test {
protected:
    class Application : public ovo::OvoApplication {
    public:
        explicit Application(Journal& journal) : OvoApplication("OVO", "prov-client") {
            phoneConfig = std::make_shared<FakePhoneConfig>();
            messageThreadStrategy = std::make_shared<NotingMessageThread>(journal);
            // What the start waits for is there, and the timer has a period.
            propertyApi = std::make_shared<RecordingPropertyApi>(
                journal,
                std::map<std::string, std::string>{{"System.Provision.FactoryAuthUsername", "u"},
                                                   {"System.Provision.FactoryAuthPassword", "p"},
                                                   {"System.Provision.Period", "3600"}});
            ipcClient = std::make_shared<RecordingIpcClient>(journal);
        }
    };

    FrameworkCallsTest() {
        theJournal = &journal;
        isHealthy = true;
    }

    PhoneRoot root;
    Journal journal;
    Application application{journal};
};

TEST_F(FrameworkCallsTest, ItsRequestsComeFirstAndItsOwnNamesWin) {
    application.setup();
    journal.clear();
    ipc::HandlersMap handlers;
    application.setupHandlersMap(handlers);
    EXPECT_THAT(journal.calls(), ElementsAre("handlers after 0"));
    EXPECT_EQ(handlers.count("OfTheFramework"), 1U);
    EXPECT_EQ(handlers.size(), 5U);
    ipc::IpcMsgParams idle;
    idle.add("isBusy", false);
    EXPECT_EQ(handlers.at("AreYouBusy")({}), idle);
}

TEST_F(FrameworkCallsTest, ItsTopicsComeFirst) {
    std::vector<std::string> topics;
    application.setupSubscriptions(topics);
    EXPECT_THAT(topics, ElementsAre("framework/prov-client", "auto-reboot/prov-client",
                                    "watchdog/prov-client", "sip-client/prov-client",
                                    "netmgr/prov-client", "phone-ui/prov-client"));
}

TEST_F(FrameworkCallsTest, ItsCachedKeysAreNotAskedFor) {
    std::vector<std::string> keys;
    application.setupNvmCacheParameters(keys);
    EXPECT_THAT(keys, Not(testing::Contains("Of.The.Framework")));
    EXPECT_EQ(keys.size(), 6U);
}

TEST_F(FrameworkCallsTest, TheBootUpIsPostedBeforeTheWaitForTermination) {
    application.setup();
    journal.clear();
    application.waitForTermination();
    EXPECT_THAT(journal.calls(), ElementsAre("post", "framework waits"));
}

TEST_F(FrameworkCallsTest, ItsHealthCheckDecidesWhereNoRunIsInProgress) {
    application.setup();
    journal.clear();
    EXPECT_TRUE(application.checkHealthStatus());
    isHealthy = false;
    EXPECT_FALSE(application.checkHealthStatus());
    EXPECT_THAT(journal.calls(), ElementsAre("framework checked", "framework checked"));
}

TEST_F(FrameworkCallsTest, TheRestInterfaceIsAskedForOnceAndFirst) {
    application.setup();
    EXPECT_EQ(journal.calls().front(), "REST interface");
    EXPECT_EQ(journal.count("REST interface"), 1U);
}

} // namespace
