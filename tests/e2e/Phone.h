// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/http/Nginx.h"
#include "support/http/TestCa.h"
#include "support/ipc/Broker.h"
#include "support/ipc/BusPeer.h"
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

/// A phone with everything around it, in a directory of its own: broker, property store, a web
/// server with TLS and Basic authentication, and the daemon. The test plays the neighbours.
class Phone {
public:
    static constexpr const char* MAC = "02:1A:2B:3C:4D:5E";
    static constexpr const char* USER = "factory-user";
    static constexpr const char* PASSWORD = "factory-pa55word";
    static constexpr const char* KEY = "a-key-of-this-phone";

    /// nginxLocations: directives of the web server in place of Basic authentication on everything.
    explicit Phone(const std::optional<std::string>& nginxLocations = std::nullopt,
                   const std::string& clientCa = {});
    Phone(const Phone&) = delete;
    Phone& operator=(const Phone&) = delete;

    // The provisioning server.

    /// Puts a file on the server, encrypted by the stock tool.
    void publishEncrypted(const std::string& target, const std::string& content,
                          const std::string& key = KEY);
    void publishPlain(const std::string& target, const std::string& content);
    std::string url(const std::string& target) const;
    Nginx& server() { return *nginx_; }
    void stopServer() { nginx_.reset(); }
    const TestCa& ca() const { return ca_; }

    // The phone.

    /// Starts the daemon. environment: added to its own.
    void start(const std::map<std::string, std::string>& environment = {});
    /// Says that network manager and user interface are ready, once the daemon asks.
    void answerReady();
    /// Waits until the boot-up run is done.
    void waitForBootUp();
    /// start(), answerReady() and waitForBootUp() with this server.
    void boot(const std::string& server,
              const std::map<std::string, std::string>& environment = {});
    /// A run over the bus, waited for.
    void provision(const std::string& location);
    ChildProcess& daemon() { return *daemon_; }
    /// SIGTERM; the exit status.
    int stop();

    propertyapi::SqlitePropertyApi& store() { return store_; }
    std::string value(const std::string& key) const { return store_.getValue(key); }
    bool waitForValue(const std::string& key, const std::string& value,
                      std::chrono::milliseconds timeout = std::chrono::seconds(30)) const;
    /// Every key that outlives a boot, with value and origin, read by the stock shell.
    std::string lastingContent() const;
    BusPeer& bus() { return bus_; }
    Broker& broker() { return broker_; }
    PhoneRoot& root() { return root_; }

    /// Everything that the daemon has written so far.
    std::string log() const;
    bool waitForLog(const std::string& text,
                    std::chrono::milliseconds timeout = std::chrono::seconds(30)) const;
    std::size_t countLog(const std::string& text) const;

    /// Sends a request on a topic; the answer's parameters when one is expected.
    void request(const std::string& topic, const std::string& payload);

private:
    std::size_t countResults() const;

    PhoneRoot root_;
    Broker broker_;
    BusPeer bus_;
    TestCa ca_;
    std::unique_ptr<Nginx> nginx_;
    propertyapi::SqlitePropertyApi store_;
    std::unique_ptr<ChildProcess> daemon_;
    std::size_t runs_ = 0;
};

/// A root element of a parameter file for this phone around the given children.
std::string parameterFile(const std::string& params);
/// One element "param".
std::string param(const std::string& name, const std::string& value);
