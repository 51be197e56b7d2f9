// SPDX-License-Identifier: Apache-2.0
#include "RecordingFakes.h"

#include <json/writer.h>

#include <utility>

RecordingPropertyApi::RecordingPropertyApi(Journal& journal,
                                           std::map<std::string, std::string> values)
    : FakePropertyApi(std::move(values)), journal_(journal) {}

std::string RecordingPropertyApi::getValue(const std::string& key) const {
    journal_.add("get " + key);
    return FakePropertyApi::getValue(key, {});
}

std::string RecordingPropertyApi::getValue(const std::string& key,
                                           const std::string& defaultValue) const {
    journal_.add("get " + key + " or " + defaultValue);
    return FakePropertyApi::getValue(key, defaultValue);
}

void RecordingPropertyApi::subscribe(const std::string& key, Callback callback) const {
    journal_.add("subscribe " + key);
    FakePropertyApi::subscribe(key, std::move(callback));
}

std::unique_ptr<propertyapi::ISubscription>
RecordingPropertyApi::subscribeScoped(const std::string& key, Callback callback) const {
    class Scoped : public propertyapi::ISubscription {
    public:
        Scoped(Journal& journal, std::string key, std::unique_ptr<ISubscription> subscription)
            : journal_(journal), key_(std::move(key)), subscription_(std::move(subscription)) {}
        ~Scoped() override { journal_.add("unsubscribe " + key_); }
        Scoped(const Scoped&) = delete;
        Scoped& operator=(const Scoped&) = delete;

    private:
        Journal& journal_;
        const std::string key_;
        const std::unique_ptr<ISubscription> subscription_;
    };
    journal_.add("subscribe " + key);
    return std::make_unique<Scoped>(journal_, key,
                                    FakePropertyApi::subscribeScoped(key, std::move(callback)));
}

bool RecordingPropertyApi::setValue(const std::string& key, const std::string& value) const {
    beforeSet(key);
    // The report is a page, and tells the time.
    journal_.add("set " + key + (key == "State.Provisioning.Report" ? "" : "=" + value));
    return FakePropertyApi::setValue(key, value);
}

RecordingIpcClient::RecordingIpcClient(Journal& journal,
                                       std::shared_ptr<ipc::IMessageThreadStrategy> thread)
    : FakeIpcClient(std::move(thread)), journal_(journal) {}

void RecordingIpcClient::publish(const std::string& destination, const ipc::IPCMessage& message) {
    Json::StreamWriterBuilder compact;
    compact["indentation"] = "";
    journal_.add("publish " + destination + " " + message.name + " " +
                 Json::writeString(compact, message.params.parameters()) +
                 (message.flag ? "!" : ""));
    FakeIpcClient::publish(destination, message);
}

void RecordingSecurity::updateCaBundle(const std::string& directory) {
    journal_.add("update " + directory);
    FakeSecurity::updateCaBundle(directory);
}

http::ISecurity::CertificateOperations RecordingSecurity::takeCertificateOperations() {
    journal_.add("take");
    return FakeSecurity::takeCertificateOperations();
}

http::DownloadResult RecordingDownloader::download(const http::UrlInfo& url,
                                                   const std::string& path, http::Access access,
                                                   std::uint64_t maxBytes) {
    journal_.add("download " + url.getUrl() + " to " + path);
    return FakeFileDownloader::download(url, path, access, maxBytes);
}

void RecordingDownloader::setProgressCallback(ProgressCallback callback) {
    if (!callback)
        journal_.add("no progress callback");
    FakeFileDownloader::setProgressCallback(std::move(callback));
}

void FakeWorker::startProvisioning(const std::string& url) {
    journal_.add("start " + url);
    if (onStart)
        onStart();
}

bool FakeWorker::isProvisioningFinished() const {
    journal_.add("finished?");
    if (onFinished)
        onFinished();
    return finished;
}

void FakeSleep::hold() {
    const std::lock_guard lock(mutex_);
    held_ = true;
}

void FakeSleep::release() {
    {
        const std::lock_guard lock(mutex_);
        ++tickets_;
    }
    changed_.notify_all();
}

void FakeSleep::releaseAll() {
    {
        const std::lock_guard lock(mutex_);
        held_ = false;
    }
    changed_.notify_all();
}

void FakeSleep::endProcess() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
}

ovo::Sleep FakeSleep::operation() {
    return [this](std::chrono::milliseconds duration) {
        return sleep(duration);
    };
}

/// One of no length only asks whether the process is ending.
bool FakeSleep::sleep(std::chrono::milliseconds duration) {
    if (duration.count() > 0)
        journal_.add("sleep " + std::to_string(duration.count()) + " ms");
    std::unique_lock lock(mutex_);
    if (duration.count() > 0)
        changed_.wait(lock, [this] { return isEnding_ || !held_ || tickets_ > 0; });
    if (held_ && tickets_ > 0 && duration.count() > 0)
        --tickets_;
    return !isEnding_;
}
