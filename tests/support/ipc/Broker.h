// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <cstdint>
#include <optional>
#include <string>

/// A mosquitto of its own for a test, on a Unix socket, in a directory of its own, where it keeps
/// the sessions of clients that ask for it over stop() and start(). Ended with the object.
class Broker {
public:
    struct Options {
        /// Where to listen; empty: in the broker's own directory. Directories are made.
        std::string socketPath = {};
        /// Listens on a port of the loopback interface too.
        bool tcp = false;
        /// Further lines of mosquitto.conf.
        std::string configuration = {};
        /// False: start() is left to the test.
        bool started = true;
    };

    explicit Broker(const Options& options);
    Broker();
    ~Broker();
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    /// Returns once the broker takes connections.
    void start();
    /// Ends it in order; sessions and messages that wait for clients are kept.
    void stop();
    /// Keeps the sessions as they are now, as stop() does.
    void save();
    /// SIGKILL: nothing is kept but what save() kept; the socket's file stays.
    void kill();
    /// SIGSTOP: connections stay and are taken, but nothing is answered until resume().
    void freeze();
    void resume();

    /// "unix:PATH", as a bus client takes it.
    std::string address() const { return "unix:" + socketPath_; }
    std::string socketPath() const { return socketPath_; }
    /// "tcp:127.0.0.1:PORT"; only with Options::tcp.
    std::string tcpAddress() const { return "tcp:127.0.0.1:" + std::to_string(port_); }
    std::uint16_t port() const { return port_; }
    /// Everything that the broker printed so far.
    std::string log() const;

private:
    std::string configurationFile() const;
    std::string logFile() const;
    bool isServing();

    TemporaryDirectory directory_;
    std::string socketPath_;
    std::uint16_t port_;
    std::optional<ChildProcess> process_;
};
