// SPDX-License-Identifier: Apache-2.0
#include "RecordingApplication.h"

#include "support/process/WaitUntil.h"

#include <algorithm>
#include <utility>

RecordingApplication::RecordingApplication() : HaldenApplication("Recorder", "recorder") {}

RecordingApplication::RecordingApplication(const Times& times)
    : HaldenApplication("Recorder", "recorder", times) {}

std::vector<std::string> RecordingApplication::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

bool RecordingApplication::wasCalled(const std::string& name) const {
    const std::vector<std::string> all = calls();
    return std::find(all.begin(), all.end(), name) != all.end();
}

void RecordingApplication::note(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    calls_.push_back(name);
}

void RecordingApplication::signalTermination() {
    note("signalTermination");
    HaldenApplication::signalTermination();
}

void RecordingApplication::setupPhoneConfig() {
    note("setupPhoneConfig");
    HaldenApplication::setupPhoneConfig();
}

void RecordingApplication::setup() {
    note("setup");
    if (hooks.setup)
        hooks.setup();
}

void RecordingApplication::cleanup() {
    note("cleanup");
    if (hooks.cleanup)
        hooks.cleanup();
    HaldenApplication::cleanup();
}

void RecordingApplication::setupHandlersMap(ipc::HandlersMap& handlers) {
    note("setupHandlersMap");
    HaldenApplication::setupHandlersMap(handlers);
    if (hooks.handlers)
        hooks.handlers(handlers);
}

void RecordingApplication::setupProceduresMap(ipc::ProceduresMap& procedures) {
    note("setupProceduresMap");
    HaldenApplication::setupProceduresMap(procedures);
    if (hooks.procedures)
        hooks.procedures(procedures);
}

void RecordingApplication::setupSubscriptions(std::vector<std::string>& topics) {
    note("setupSubscriptions");
    HaldenApplication::setupSubscriptions(topics);
    topics.insert(topics.end(), hooks.topics.begin(), hooks.topics.end());
}

void RecordingApplication::setupNvmCacheParameters(std::vector<std::string>& keys) {
    note("setupNvmCacheParameters");
    HaldenApplication::setupNvmCacheParameters(keys);
}

void RecordingApplication::createMessageThreadStrategy() {
    note("createMessageThreadStrategy");
    HaldenApplication::createMessageThreadStrategy();
}

void RecordingApplication::createIpcClient() {
    note("createIpcClient");
    if (hooks.makeIpcClient)
        ipcClient = hooks.makeIpcClient();
    else
        HaldenApplication::createIpcClient();
}

void RecordingApplication::createPropertyApi() {
    note("createPropertyApi");
    if (hooks.createPropertyApi)
        hooks.createPropertyApi();
    HaldenApplication::createPropertyApi();
}

void RecordingApplication::setupSignalHandlers() {
    note("setupSignalHandlers");
    HaldenApplication::setupSignalHandlers();
}

void RecordingApplication::waitForTermination() {
    note("waitForTermination");
    if (hooks.waitForTermination)
        hooks.waitForTermination();
    HaldenApplication::waitForTermination();
}

bool RecordingApplication::checkHealthStatus() {
    return HaldenApplication::checkHealthStatus() &&
           (!hooks.checkHealthStatus || hooks.checkHealthStatus());
}

void RecordingApplication::init() {
    note("init");
    HaldenApplication::init();
}

Execution::Execution(RecordingApplication& application)
    : application_(application), thread_([this] {
        try {
            application_.exec();
        } catch (...) {
            thrown_ = std::current_exception();
        }
    }) {}

Execution::~Execution() {
    application_.signalTermination();
    if (thread_.joinable())
        thread_.join();
}

bool Execution::waitFor(const std::string& call) const {
    return waitUntil([&] { return application_.wasCalled(call); });
}

void Execution::join() {
    thread_.join();
    if (thrown_)
        std::rethrow_exception(std::exchange(thrown_, nullptr));
}
