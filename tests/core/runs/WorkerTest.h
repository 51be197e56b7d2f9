// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningWatchdog/ProvisioningWorker.h"
#include "RecordingFakes.h"
#include "support/http/FakeCredentialsProvider.h"
#include "support/process/PhoneRoot.h"
#include "support/security/FakePhoneConfig.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

constexpr char URL[] = "http://h/prov/p.xml";
constexpr char PATH[] = "/var/volatile/provisioning/p.xml";
constexpr char IN_PROGRESS[] = "State.Provisioning.InProgress";
constexpr char PUBLISH_BEGIN[] =
    "publish prov-client/sip-client provisioningStatus {\"provInProgress\":true}";
constexpr char PUBLISH_END[] =
    "publish prov-client/sip-client provisioningStatus {\"provInProgress\":false}";
constexpr char WAITING[] = "Previous provisioning is not finished yet. Waiting...";

/// Every file has the nodes that the test sets between runs.
class StubParser : public ovo::IProvisioningFileParser {
public:
    void parse(std::string, std::vector<ovo::ProvisioningNode>& result) override { result = nodes; }

    std::vector<ovo::ProvisioningNode> nodes;
};

class StubDecrypter : public http::IDecrypter {
public:
    std::string decrypt(const std::string&) override {
        throw std::runtime_error("the file is not encrypted");
    }
};

class WaitingCredentialsProvider : public FakeCredentialsProvider {
public:
    bool getIsWaitingForCredentials() override { return isWaiting; }

    std::atomic<bool> isWaiting{false};
};

inline ovo::ProvisioningNode succeeding() {
    return {"settings", "param", {{{"name", "Some.Key"}, {"value", "1"}}}};
}

inline ovo::ProvisioningNode failing() {
    return {"settings", "param", {{{"name", "Some.Key"}}}};
}

inline ovo::ProvisioningNode skipped() {
    return {"settings", "param", {}};
}

/// A worker among fakes; the calls that they get are in the journal.
class WorkerTest : public testing::Test {
protected:
    WorkerTest() {
        parser->nodes = {succeeding()};
        downloader->serve(URL, "<file/>");
        security->setDirectory("/etc/ssl/certs/", {"a.pem"});
    }
    ~WorkerTest() override { downloader->release(); }

    std::unique_ptr<ovo::ProvisioningWorker> makeWorker() {
        return std::make_unique<ovo::ProvisioningWorker>(propertyApi, phoneConfig, security,
                                                         downloader, parser, credentials,
                                                         *ipcClient, updater, decrypter, runReport);
    }

    void run(const std::string& url = URL) {
        worker->startProvisioning(url);
        worker->waitForProvisioningEnd();
    }

    /// Starts a run whose download does not end.
    void startHeldRun() {
        downloader->hold();
        worker->startProvisioning(URL);
        ASSERT_TRUE(downloader->waitForRequests(1));
    }

    PhoneRoot root;
    Journal journal;
    std::shared_ptr<RecordingPropertyApi> propertyApi =
        std::make_shared<RecordingPropertyApi>(journal);
    std::shared_ptr<FakePhoneConfig> phoneConfig = std::make_shared<FakePhoneConfig>();
    std::shared_ptr<RecordingSecurity> security = std::make_shared<RecordingSecurity>(journal);
    std::shared_ptr<RecordingDownloader> downloader =
        std::make_shared<RecordingDownloader>(journal);
    std::shared_ptr<StubParser> parser = std::make_shared<StubParser>();
    std::shared_ptr<WaitingCredentialsProvider> credentials =
        std::make_shared<WaitingCredentialsProvider>();
    std::shared_ptr<RecordingIpcClient> ipcClient = std::make_shared<RecordingIpcClient>(journal);
    ovo::LocalPhoneBookUpdater updater{*propertyApi, downloader};
    std::shared_ptr<ovo::RunReport> runReport = std::make_shared<ovo::RunReport>();
    StubDecrypter decrypter;
    std::unique_ptr<ovo::ProvisioningWorker> worker = makeWorker();
};
