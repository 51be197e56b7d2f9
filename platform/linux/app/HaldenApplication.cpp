// SPDX-License-Identifier: Apache-2.0
#include "app/HaldenApplication.h"

#include "EmptyPhoneConfig.h"
#include "Environment.h"
#include "HealthCheck.h"
#include "ProcessLock.h"
#include "SignalBlock.h"
#include "SignalThread.h"
#include "common/Guarded.h"
#include "filesystem/Filesystem.h"
#include "http/curl/CurlRestApi.h"
#include "ipc/mosquitto/MessageThread.h"
#include "ipc/mosquitto/MosquittoIpcClient.h"
#include "logger/Logger.h"
#include "os/Execute.h"
#include "phoneconfig/json/JsonPhoneConfig.h"
#include "posix/LibraryDate.h"
#include "propertyapi/sqlite/Patience.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "systemd/Service.h"
#include "text/Number.h"

#include <malloc.h>
#include <string.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <optional>
#include <utility>

namespace app {

namespace {

constexpr unsigned int WORKING_DIRECTORY_MODE = 0775;
/// Total time of all waits for the property store once the process is ending.
constexpr std::chrono::seconds STORE_WAITS_AT_END{2};

constexpr const char* DNS_CACHE_TIMEOUT = "networking.curl.DnsCacheTimeout";

/// Makes all threads share one heap: a heap for each thread would stay as large as it ever was.
/// Call it before there are threads.
void shareOneHeap() {
#ifdef __GLIBC__
    ::mallopt(M_ARENA_MAX, 1);
#endif
}

/// Sets the configured time, in whole seconds, where there is one. A text that is not a number is
/// ignored with a level 2 line. config may be null.
void setDnsCacheTimeout(http::IRestApi& client, const phoneconfig::IPhoneConfig* config) {
    const std::string text = config == nullptr ? "" : config->getValue(DNS_CACHE_TIMEOUT);
    if (text.empty())
        return;
    if (const auto seconds = parseNumber<std::uint32_t>(text))
        client.setDnsCacheTimeout(std::chrono::seconds(*seconds));
    else
        LOG(2) << "Phone configuration " << DNS_CACHE_TIMEOUT
               << " is not a number of seconds and is ignored";
}

/// A run with a large file leaves much free memory between used blocks. The allocator gives it back
/// to the kernel only on request.
void giveBackFreeMemory() {
#ifdef __GLIBC__
    ::malloc_trim(0);
#endif
}

} // namespace

/// The framework's own state. Its terminate() is not virtual, so that it can be called while the
/// application around it is being destroyed.
struct HaldenApplication::Impl {
    Impl(std::string application, std::string ipc, const Times& applicationTimes)
        : appName(std::move(application)), ipcName(std::move(ipc)), times(applicationTimes) {}

    void terminate();
    bool waitForTermination(std::optional<std::chrono::milliseconds> longest);
    void onTermination(std::function<void()> listener);
    void start(HaldenApplication& application);
    void end(HaldenApplication& application);
    void endAfterFailure(HaldenApplication& application) noexcept;

    const std::string appName;
    const std::string ipcName;
    const Times times;

    struct Termination {
        bool isSignalled = false;
        std::vector<std::function<void()>> listeners;
    };

    std::atomic<bool> initialised = false;
    std::atomic<int> endingSignal = 0;
    common::Guarded<Termination> termination;
    std::condition_variable terminated;
    const std::shared_ptr<http::IRestApi> rest = std::make_shared<http::CurlRestApi>();

    std::optional<ProcessLock> processLock;
    std::optional<SignalBlock> signalBlock;
    std::optional<SignalThread> signalThread;

    // The application's members of the same names under their own types, which cleanup() needs.
    std::shared_ptr<ipc::MessageThread> messageThread;
    std::shared_ptr<propertyapi::SqlitePropertyApi> properties;
    std::optional<HealthCheck> healthCheck;
};

void HaldenApplication::Impl::terminate() {
    std::vector<std::function<void()>> listeners;
    {
        const auto access = termination.lock();
        access->isSignalled = true;
        listeners.swap(access->listeners);
    }
    // The listeners come first: what they note explains why transfers and commands end.
    for (const std::function<void()>& listener : listeners)
        listener();
    terminated.notify_all();
    rest->shutdown();
    os::stopCommands();
}

/// True when termination is signalled; longest: none waits without a limit.
bool HaldenApplication::Impl::waitForTermination(std::optional<std::chrono::milliseconds> longest) {
    const auto isSignalled = [](const Termination& value) {
        return value.isSignalled;
    };
    auto access = termination.lock();
    if (longest)
        return access.waitUntil(terminated, std::chrono::steady_clock::now() + *longest,
                                isSignalled);
    access.wait(terminated, isSignalled);
    return true;
}

void HaldenApplication::Impl::onTermination(std::function<void()> listener) {
    {
        const auto access = termination.lock();
        if (!access->isSignalled) {
            access->listeners.push_back(std::move(listener));
            return;
        }
    }
    listener();
}

void HaldenApplication::Impl::start(HaldenApplication& application) {
    processLock.emplace(ipcName);
    application.init();
    initialised = true;
    posix::reportUnknownDate();
    if (application.getTerminationFlag())
        return;
    application.setup();
    if (application.getTerminationFlag())
        return;

    ipc::HandlersMap handlers;
    application.setupHandlersMap(handlers);
    ipc::ProceduresMap procedures;
    application.setupProceduresMap(procedures);
    application.ipcClient->activate(std::move(handlers), std::move(procedures));
    systemd::notifyReady();
    LOG(1) << appName << " is ready";

    const auto watchdog = systemd::watchdogTimeout();
    healthCheck.emplace(
        appName, watchdog ? *watchdog / 2 : times.healthCheck,
        [&application] {
            const bool healthy = application.checkHealthStatus();
            giveBackFreeMemory();
            return healthy;
        },
        systemd::feedWatchdog);
    application.waitForTermination();
}

/// Afterwards only the application itself calls its virtual operations: it may be destroyed. What
/// its members publish meanwhile is still sent, because the bus ends with the base class.
void HaldenApplication::Impl::end(HaldenApplication& application) {
    const int signal = endingSignal;
    LOG(1) << appName << " is ending"
           << (signal == 0 ? std::string()
                           : std::string(", told so by SIG") + ::sigabbrev_np(signal));
    systemd::notifyStopping();
    if (!application.getTerminationFlag())
        application.signalTermination();
    healthCheck.reset();
    if (signalThread)
        signalThread->stop();
    application.cleanup();
}

void HaldenApplication::Impl::endAfterFailure(HaldenApplication& application) noexcept {
    try {
        end(application);
    } catch (const std::exception& exception) {
        LOG(3) << "Ending " << appName << " after a failure: " << exception.what();
    }
}

HaldenApplication::HaldenApplication(const std::string& appName, const std::string& ipcName)
    : HaldenApplication(appName, ipcName, Times()) {}

HaldenApplication::HaldenApplication(const std::string& appName, const std::string& ipcName,
                                     const Times& times)
    : impl_(std::make_unique<Impl>(appName, ipcName, times)) {}

HaldenApplication::~HaldenApplication() {
    // The bus ends here and not in cleanup(): the service's members, which have gone by now, may
    // have published until the end.
    if (ipcClient)
        ipcClient->close();
    ipcClient.reset();
    propertyApi.reset();
    impl_->properties.reset();
    messageThreadStrategy.reset();
    impl_->messageThread.reset();
    phoneConfig.reset();
    // The time to end covers all of the above. Afterwards no thread is left that needs the mask,
    // and another process may have the name.
    impl_->signalThread.reset();
    impl_->signalBlock.reset();
    impl_->processLock.reset();
}

void HaldenApplication::exec() {
    shareOneHeap();
    try {
        impl_->start(*this);
    } catch (...) {
        impl_->endAfterFailure(*this);
        throw;
    }
    impl_->end(*this);
}

void HaldenApplication::init() {
    setupSignalHandlers();
    setupPhoneConfig();
    setDnsCacheTimeout(*impl_->rest, phoneConfig.get());
    createMessageThreadStrategy();
    createPropertyApi();
    createIpcClient();
}

void HaldenApplication::setupSignalHandlers() {
    // The mask first: every thread inherits it.
    impl_->signalBlock.emplace();
    impl_->signalThread.emplace(impl_->appName, impl_->times.end, [this](int signal) {
        impl_->endingSignal = signal;
        signalTermination();
    });
}

void HaldenApplication::setupPhoneConfig() {
    try {
        phoneConfig = std::make_shared<phoneconfig::JsonPhoneConfig>();
    } catch (const std::exception& exception) {
        // A phone without provisioning could not be repaired remotely. Readers of a missing value
        // report it themselves.
        LOG(3) << exception.what();
        phoneConfig = std::make_shared<EmptyPhoneConfig>();
    }
}

void HaldenApplication::createMessageThreadStrategy() {
    impl_->messageThread = std::make_shared<ipc::MessageThread>();
    messageThreadStrategy = impl_->messageThread;
}

void HaldenApplication::createPropertyApi() {
    // SQLite caches the store's pages, coherently with other processes: single keys need no cache.
    std::vector<std::string> cachedKeys;
    setupNvmCacheParameters(cachedKeys);
    // The listener is there before the store: opening it may have to wait as well.
    const auto patience = std::make_shared<propertyapi::Patience>();
    onTermination([patience] { patience->limit(STORE_WAITS_AT_END); });
    impl_->properties = std::make_shared<propertyapi::SqlitePropertyApi>(
        propertyapi::SqlitePropertyApi::STORE, propertyapi::SqliteSettings(), patience);
    propertyApi = impl_->properties;
}

void HaldenApplication::createIpcClient() {
    std::vector<std::string> topics;
    setupSubscriptions(topics);
    ipcClient = std::make_shared<ipc::MosquittoIpcClient>(
        Environment::read().busAddress, impl_->ipcName, std::move(topics), messageThreadStrategy);
}

std::shared_ptr<http::IRestApi> HaldenApplication::getRESTApi() {
    return impl_->rest;
}

void HaldenApplication::signalTermination() {
    impl_->terminate();
}

bool HaldenApplication::getTerminationFlag() const {
    return impl_->termination.lock()->isSignalled;
}

void HaldenApplication::waitForTermination() {
    impl_->waitForTermination(std::nullopt);
}

bool HaldenApplication::sleepFor(std::chrono::milliseconds duration) const {
    return !impl_->waitForTermination(duration);
}

void HaldenApplication::onTermination(std::function<void()> listener) {
    impl_->onTermination(std::move(listener));
}

void HaldenApplication::cleanup() {
    if (ipcClient)
        ipcClient->stop();
    if (impl_->properties)
        impl_->properties->stop();
    if (impl_->messageThread)
        impl_->messageThread->stop();
}

bool HaldenApplication::checkHealthStatus() {
    // The message thread is not a sign of life: a request may block it for the length of a run.
    return impl_->initialised;
}

void HaldenApplication::setup() {}

void HaldenApplication::setupHandlersMap(ipc::HandlersMap&) {}

void HaldenApplication::setupProceduresMap(ipc::ProceduresMap&) {}

void HaldenApplication::setupSubscriptions(std::vector<std::string>&) {}

void HaldenApplication::setupNvmCacheParameters(std::vector<std::string>&) {}

void HaldenApplication::onPhoneSystemChanged() {}

void HaldenApplication::onProxyChanged() {
    getRESTApi()->proxyChanged();
}

void HaldenApplication::onCurlDnsCacheTimeoutChanged() {
    setDnsCacheTimeout(*getRESTApi(), phoneConfig.get());
}

void HaldenApplication::setupWorkingDirectory(const std::string& path) {
    filesystem::makeDirectory(path, WORKING_DIRECTORY_MODE);
}

} // namespace app
