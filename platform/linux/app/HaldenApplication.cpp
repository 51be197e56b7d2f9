// SPDX-License-Identifier: Apache-2.0
#include "app/HaldenApplication.h"

#include "CodePages.h"
#include "DeferredCall.h"
#include "EmptyPhoneConfig.h"
#include "Environment.h"
#include "HealthCheck.h"
#include "ProcessLock.h"
#include "SignalBlock.h"
#include "SignalThread.h"
#include "filesystem/Filesystem.h"
#include "http/curl/CurlRestApi.h"
#include "ipc/mosquitto/MessageThread.h"
#include "ipc/mosquitto/MosquittoIpcClient.h"
#include "logger/Logger.h"
#include "os/Execute.h"
#include "phoneconfig/json/JsonPhoneConfig.h"
#include "propertyapi/sqlite/Patience.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "systemd/Service.h"
#include "text/Number.h"

#include <malloc.h>
#include <string.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <optional>
#include <utility>

namespace app {

namespace {

constexpr unsigned int WORKING_DIRECTORY_MODE = 0775;
/// What all waits for the property store get together once the process is ending.
constexpr std::chrono::seconds STORE_WAITS_AT_END{2};

constexpr const char* DNS_CACHE_TIMEOUT = "networking.curl.DnsCacheTimeout";

/// The threads of a daemon that mostly sleeps share one heap; each would otherwise keep one of its
/// own that stays as large as its largest moment. Before there are threads.
void shareOneHeap() {
#ifdef __GLIBC__
    ::mallopt(M_ARENA_MAX, 1);
#endif
}

/// Takes the configured time, in whole seconds, where there is one. What is not a number is a level
/// 2 line and ignored. config may be null.
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

/// A run with a large file leaves much free memory between what is still used; the allocator gives
/// it back to the kernel only when told to.
void giveBackFreeMemory() {
#ifdef __GLIBC__
    ::malloc_trim(0);
#endif
}

} // namespace

/// The framework's own state. The end of the process is told to it by its non-virtual terminate(),
/// so that it stays usable while the application around it is being destroyed.
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

    std::atomic<bool> initialised = false;
    std::atomic<bool> terminating = false; ///< set under the mutex
    std::atomic<int> endingSignal = 0;
    std::mutex mutex;
    std::condition_variable terminated;
    std::vector<std::function<void()>> terminationListeners; ///< under the mutex
    const std::shared_ptr<http::IRestApi> rest = std::make_shared<http::CurlRestApi>();

    std::optional<ProcessLock> processLock;
    // The mask before the threads that inherit it. The signal thread goes last of all in the base's
    // destructor, so that the time to end covers every other destructor.
    std::optional<SignalBlock> signalBlock;
    std::optional<DeferredCall> terminationCall;
    std::optional<SignalThread> signalThread;

    // The application's members of the same names, as what they are: cleanup() stops them.
    std::shared_ptr<ipc::MessageThread> messageThread;
    std::shared_ptr<propertyapi::SqlitePropertyApi> properties;
    std::optional<HealthCheck> healthCheck;
};

void HaldenApplication::Impl::terminate() {
    std::vector<std::function<void()>> listeners;
    {
        const std::lock_guard lock(mutex);
        terminating = true;
        listeners.swap(terminationListeners);
    }
    // First those who want to know why transfers and commands end now.
    for (const std::function<void()>& listener : listeners)
        listener();
    terminated.notify_all();
    rest->shutdown();
    os::endCommands();
}

/// True when termination is signalled; longest: none waits for ever.
bool HaldenApplication::Impl::waitForTermination(std::optional<std::chrono::milliseconds> longest) {
    std::unique_lock lock(mutex);
    const auto isSignalled = [this] {
        return terminating.load();
    };
    if (longest)
        return terminated.wait_for(lock, *longest, isSignalled);
    terminated.wait(lock, isSignalled);
    return true;
}

void HaldenApplication::Impl::onTermination(std::function<void()> listener) {
    {
        const std::lock_guard lock(mutex);
        if (!terminating) {
            terminationListeners.push_back(std::move(listener));
            return;
        }
    }
    listener();
}

void HaldenApplication::Impl::start(HaldenApplication& application) {
    processLock.emplace(ipcName);
    application.init();
    initialised = true;
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
    unmapCodePages();
    application.waitForTermination();
}

/// After this nothing but the application itself calls its virtual operations: it may be destroyed,
/// and what its members still publish then goes out until the base ends the bus.
void HaldenApplication::Impl::end(HaldenApplication& application) {
    const int signal = endingSignal;
    LOG(1) << appName << " is ending"
           << (signal == 0 ? std::string()
                           : std::string(", told so by SIG") + ::sigabbrev_np(signal));
    systemd::notifyStopping();
    if (!application.getTerminationFlag())
        application.signalTermination();
    healthCheck.reset();
    if (terminationCall)
        terminationCall->close();
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
    // Here and not in cleanup(): the service's members, which have gone by now, may have published
    // to the very end. Explicitly, because the time to end must run until all of it has gone: impl_
    // as a member is destroyed before the others.
    if (ipcClient)
        ipcClient->stop();
    ipcClient.reset();
    propertyApi.reset();
    impl_->properties.reset();
    messageThreadStrategy.reset();
    impl_->messageThread.reset();
    phoneConfig.reset();
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
    impl_->signalBlock.emplace();
    // On a thread of its own, so that nothing that signalTermination() does can keep the signal
    // thread from taking the second signal.
    impl_->terminationCall.emplace([this] { signalTermination(); });
    impl_->signalThread.emplace(impl_->appName, impl_->times.end, [this](int signal) {
        impl_->endingSignal = signal;
        impl_->terminationCall->trigger();
    });
}

void HaldenApplication::setupPhoneConfig() {
    try {
        phoneConfig = std::make_shared<phoneconfig::JsonPhoneConfig>();
    } catch (const std::exception& exception) {
        // What needs a value that is missing says so when it needs it, and a phone without its
        // provisioning could not be repaired from afar.
        LOG(3) << exception.what();
        phoneConfig = std::make_shared<EmptyPhoneConfig>();
    }
}

void HaldenApplication::createMessageThreadStrategy() {
    impl_->messageThread = std::make_shared<ipc::MessageThread>();
    messageThreadStrategy = impl_->messageThread;
}

void HaldenApplication::createPropertyApi() {
    // The store's pages are cached by SQLite, coherently with other processes: there is nothing to
    // be done with single keys.
    std::vector<std::string> cachedKeys;
    setupNvmCacheParameters(cachedKeys);
    // The bound of its waits is told before it is there: opening it may have to wait as well.
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
    return impl_->terminating;
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
        ipcClient->stopServing();
    if (impl_->properties)
        impl_->properties->stop();
    if (impl_->messageThread)
        impl_->messageThread->stop();
}

bool HaldenApplication::checkHealthStatus() {
    // The message thread is no sign of life: a request may block it for the length of a run.
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
