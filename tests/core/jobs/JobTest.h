// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LocalPhoneBookUpdater.h"
#include "ProvisioningContext.h"
#include "ProvisioningNode.h"
#include "ProvisioningWatchdog/ProgressReporter.h"
#include "ProvisioningWatchdog/RunReport.h"
#include "support/http/FakeFileDownloader.h"
#include "support/ipc/FakeIpcClient.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/propertyapi/FakePropertyApi.h"
#include "support/security/FakePhoneConfig.h"
#include "support/security/FakeSecurity.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// A property store that tells what is about to be read and written, to see what a job had done by
/// then. The two operations are those that the jobs use.
class WatchedStore : public FakePropertyApi {
public:
    using FakePropertyApi::FakePropertyApi;
    using FakePropertyApi::getValue;

    std::function<void(const std::string& key)> beforeRead = [](const std::string&) {
    };
    std::function<void()> beforeBatch = [] {
    };

    std::string getValue(const std::string& key) const override;
    unsigned int setValues(const Batch& batch, const std::string& origin) const override;
};

/// A bus that tells what is about to be published.
class WatchedBus : public FakeIpcClient {
public:
    std::function<void()> beforePublish = [] {
    };

    void publish(const std::string& destination, const ipc::IPCMessage& message) override;
};

/// A phone of its own and the services that jobs work with.
class JobTest : public testing::Test {
protected:
    /// Of one leaf child.
    using Attributes = std::map<std::string, std::string>;

    PhoneRoot phone; // before everything that has threads
    LogRecorder log;
    std::shared_ptr<WatchedStore> store = std::make_shared<WatchedStore>();
    std::shared_ptr<FakePhoneConfig> configuration = std::make_shared<FakePhoneConfig>();
    std::shared_ptr<FakeFileDownloader> downloader = std::make_shared<FakeFileDownloader>();
    std::shared_ptr<FakeSecurity> security = std::make_shared<FakeSecurity>();
    WatchedBus bus;
    ovo::ProgressReporter progress;
    ovo::RunReport report;
    ovo::LocalPhoneBookUpdater phoneBook{*store, downloader};
    http::UrlInfo server{"http://10.0.0.5/prov/"};

    /// What the report has been told of as the first failure, from the line of a run that ends now.
    std::string reportedCause();
};

/// Leaf children with these attributes, and the attributes of leaf children.
ovo::LeafChildren childrenOf(const std::vector<std::map<std::string, std::string>>& attributes);
std::vector<std::map<std::string, std::string>> attributesOf(const ovo::LeafChildren& children);

/// Takes all files out of a result.
std::vector<ovo::ProvisioningFileContext> takeFiles(ovo::ProvisioningContext& result);

/// Text of the exception that a call throws; "" when it throws none.
std::string errorOf(const std::function<void()>& call);

/// Permission bits of a file of this machine.
unsigned int modeOf(const std::string& hostPath);

/// The "LEVEL SOURCE: TEXT" lines that one source file wrote.
std::vector<std::string> linesFrom(const LogRecorder& log, const std::string& source);
