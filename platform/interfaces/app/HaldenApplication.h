// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/IRestApi.h"
#include "ipc/IIPCClient.h"
#include "ipc/IMessageThreadStrategy.h"
#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace app {

/// Frame of a service of the phone: process life, signals, message thread, bus, property store,
/// phone configuration and health check. A service derives from it and calls exec() once, on its
/// main thread.
///
/// exec() runs, in this order: init() (signal handlers, phone configuration, message thread,
/// property store, bus), setup(), then the request table becomes active and readiness is told to
/// systemd, the health check starts, waitForTermination(), and cleanup(). SIGTERM, SIGINT or SIGHUP
/// ends the wait; a second one, or 15 s without an end of the process, ends it at once with status
/// 124. These 15 s cover everything up to the end of this class's destructor. A step of the start
/// that runs when termination is signalled is completed; then cleanup() follows.
///
/// The end comes in this order: cleanup() stops everything that calls the service (requests,
/// notifications, the message thread); the service's members are destroyed, and their waits have
/// been cut short; the destructor of this class sends what they published and closes the bus
/// connection.
///
/// There is one process for each bus name: exec() throws std::runtime_error, with nothing changed,
/// if another process holds the lock /run/halden/NAME.lock below the phone's root.
class HaldenApplication {
public:
    /// appName: the service's name in log lines; ipcName: its name on the bus.
    HaldenApplication(const std::string& appName, const std::string& ipcName);
    HaldenApplication(const HaldenApplication&) = delete;
    HaldenApplication& operator=(const HaldenApplication&) = delete;

    virtual ~HaldenApplication();
    /// Tells the process to end: waitForTermination() and sleepFor() return, running transfers and
    /// commands are aborted and further ones refused, waits for the property store get 2 s in all,
    /// and the listeners of onTermination() are called. Does not block. Any thread, any number of
    /// times; a signal calls it on the signal thread, and exec() when it ends for another reason.
    virtual void signalTermination();
    /// Reads the phone configuration into phoneConfig. One that cannot be read is a level 3 line
    /// and counts as empty.
    virtual void setupPhoneConfig();
    /// The web client of the process.
    virtual std::shared_ptr<http::IRestApi> getRESTApi();
    /// Builds the service; on the start-up thread, with phoneConfig, messageThreadStrategy,
    /// propertyApi and ipcClient in place.
    virtual void setup();
    /// Stops requests, the notifications of the property store and the message thread, as far as
    /// init() has made them: nothing calls the service back afterwards. Waits for a running
    /// callback. Publishing still works. After waitForTermination().
    virtual void cleanup();
    /// Adds the requests that are served and answered.
    virtual void setupHandlersMap(ipc::HandlersMap& handlers);
    /// Adds the messages that are served and never answered.
    virtual void setupProceduresMap(ipc::ProceduresMap& procedures);
    /// Adds the topics to subscribe to.
    virtual void setupSubscriptions(std::vector<std::string>& topics);
    /// Adds the keys that the property client may keep cached: an entry that ends in "." is a
    /// prefix, "%" stands for one key segment.
    virtual void setupNvmCacheParameters(std::vector<std::string>& keys);
    virtual void createMessageThreadStrategy();
    virtual void createIpcClient();
    virtual void createPropertyApi();
    virtual void setupSignalHandlers();
    /// Blocks until termination is signalled.
    virtual void waitForTermination();
    /// True when the service is alive; here: when init() has come up. On the health check's own
    /// thread, at half the interval that systemd's watchdog asks for, every 30 s where none is set;
    /// true feeds the watchdog. May block: then the watchdog is not fed.
    virtual bool checkHealthStatus();
    /// The phone was switched to another telephone system.
    virtual void onPhoneSystemChanged();
    /// Brings up signal handlers, phone configuration, message thread, property store and bus.
    virtual void init();
    /// True from signalTermination() on. Any thread.
    virtual bool getTerminationFlag() const;
    /// The phone's proxy settings changed.
    virtual void onProxyChanged();
    /// The phone's time-out for resolved names changed.
    virtual void onCurlDnsCacheTimeoutChanged();
    /// Makes one directory that the service works in.
    virtual void setupWorkingDirectory(const std::string& path);

    /// Runs the service until its end. An exception of init() or setup() passes through after the
    /// parts that were already up have been stopped.
    void exec();

protected:
    /// Times of the process's life, for tests that cannot wait for the real ones.
    struct Times {
        std::chrono::milliseconds end{15000};         ///< from the first signal to the forced end
        std::chrono::milliseconds healthCheck{30000}; ///< interval without a watchdog of systemd
    };
    HaldenApplication(const std::string& appName, const std::string& ipcName, const Times& times);

    /// Lets the calling thread sleep; false as soon as the process is ending, however short the
    /// duration. Any thread.
    bool sleepFor(std::chrono::milliseconds duration) const;
    /// Calls the listener once, when termination is signalled (at once if it has been), on the
    /// thread that signals it. The listener must not block.
    void onTermination(std::function<void()> listener);

    std::shared_ptr<phoneconfig::IPhoneConfig> phoneConfig;
    std::shared_ptr<ipc::IMessageThreadStrategy> messageThreadStrategy;
    std::shared_ptr<propertyapi::IPropertyApi> propertyApi;
    std::shared_ptr<ipc::IIPCClient> ipcClient;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace app
