// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Journal.h"
#include "ProvisioningWatchdog/IProvisioningWorker.h"
#include "Sleep.h"
#include "support/http/FakeFileDownloader.h"
#include "support/ipc/FakeIpcClient.h"
#include "support/propertyapi/FakePropertyApi.h"
#include "support/security/FakeSecurity.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>

/// "get KEY", "get KEY or DEFAULT", "set KEY=VALUE", "subscribe KEY", and "unsubscribe KEY" when a
/// scoped subscription ends.
class RecordingPropertyApi : public FakePropertyApi {
public:
    explicit RecordingPropertyApi(Journal& journal, std::map<std::string, std::string> values = {});

    std::string getValue(const std::string& key) const override;
    std::string getValue(const std::string& key, const std::string& defaultValue) const override;
    void subscribe(const std::string& key, Callback callback) const override;
    [[nodiscard]] std::unique_ptr<propertyapi::ISubscription>
    subscribeScoped(const std::string& key, Callback callback) const override;
    /// A failed write is noted too.
    bool setValue(const std::string& key, const std::string& value) const override;

    /// Called before each single write is noted. Set it before others use the object.
    std::function<void(const std::string& key)> beforeSet = [](const std::string&) {
    };

private:
    Journal& journal_;
};

/// "publish DESTINATION NAME {PARAMETERS}", followed by "!" when an answer is expected.
class RecordingIpcClient : public FakeIpcClient {
public:
    explicit RecordingIpcClient(Journal& journal,
                                std::shared_ptr<ipc::IMessageThreadStrategy> thread = nullptr);

    void publish(const std::string& destination, const ipc::IPCMessage& message) override;

private:
    Journal& journal_;
};

/// "update DIRECTORY", "take".
class RecordingSecurity : public FakeSecurity {
public:
    explicit RecordingSecurity(Journal& journal) : journal_(journal) {}

    void updateCaBundle(const std::string& directory) override;
    CertificateOperations takeCertificateOperations() override;

private:
    Journal& journal_;
};

/// "download URL to PATH", and "no progress callback" when that is taken away.
class RecordingDownloader : public FakeFileDownloader {
public:
    explicit RecordingDownloader(Journal& journal) : journal_(journal) {}

    void setProgressCallback(ProgressCallback callback) override;

    http::DownloadResult download(const http::UrlInfo& url, const std::string& path,
                                  http::Access access = http::Access::OwnerOnly,
                                  std::uint64_t maxBytes = NO_LIMIT) override;

private:
    Journal& journal_;
};

/// "start URL", "finished?". The test says whether a run is finished.
class FakeWorker : public IProvisioningWorker {
public:
    explicit FakeWorker(Journal& journal) : journal_(journal) {}

    void startProvisioning(const std::string& url) override;
    void waitForProgress() override { journal_.add("wait for progress"); }
    bool isProvisioningFinished() const override;

    std::atomic<bool> finished{true};
    /// Called by startProvisioning.
    std::function<void()> onStart;
    /// Called by isProvisioningFinished.
    std::function<void()> onFinished;

private:
    Journal& journal_;
};

/// A sleep in the hands of the test: "sleep MILLISECONDS ms" is noted, then the sleeper waits until
/// the test lets it go on. Without a test that holds it, it returns at once.
class FakeSleep {
public:
    explicit FakeSleep(Journal& journal) : journal_(journal) {}

    void hold();
    /// Lets one sleep end.
    void release();
    /// Lets all of them end, the later ones too.
    void releaseAll();
    /// The process is ending: sleeps are cut short from now on.
    void endProcess();
    ovo::Sleep operation();

private:
    bool sleep(std::chrono::milliseconds duration);

    Journal& journal_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool held_ = false;
    unsigned int tickets_ = 0;
    bool isEnding_ = false;
};
