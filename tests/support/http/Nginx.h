// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "TestCa.h"
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The real web server on free ports of the loopback interface, with everything that it reads and
/// writes in a directory of its own; ends with the object.
class Nginx {
public:
    struct Tls {
        TestIdentity server;
        std::string clientCa; ///< PEM; not empty: a client certificate of this authority is needed
        std::string settings; ///< further directives of the encrypted server
    };

    /// A line of the access log.
    struct Access {
        std::string connection; ///< serial number of the connection
        int status;
        std::string port;
        std::string uri;
        std::string authorization; ///< "-" when none was sent
        std::string protocol;
    };

    /// locations: directives of the server block. "@DIR@" is the server's directory, "@PORT@" and
    /// "@TLSPORT@" its ports.
    explicit Nginx(std::string locations = {}, std::optional<Tls> tls = std::nullopt);
    ~Nginx();
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;

    std::uint16_t port() const { return port_; }
    std::uint16_t tlsPort() const { return tlsPort_; }
    std::string url(const std::string& target) const;
    std::string tlsUrl(const std::string& target, const std::string& host = "127.0.0.1") const;
    /// Puts a file below the document root.
    void publish(const std::string& target, const std::string& content) const;
    std::string documentRoot() const;
    /// Puts a file into the server's directory, beside the document root.
    void put(const std::string& name, const std::string& content) const;
    /// Waits until so many requests are in the access log, and returns all.
    std::vector<Access> accesses(std::size_t count) const;
    /// How many requests are in the access log.
    std::size_t requestCount() const;

private:
    void start();
    std::string configuration() const;
    std::string filled(std::string text) const;
    std::vector<Access> readAccesses() const;

    TemporaryDirectory directory_;
    std::string locations_;
    std::optional<Tls> tls_;
    std::uint16_t port_ = 0;
    std::uint16_t tlsPort_ = 0;
    std::unique_ptr<ChildProcess> process_;
};

/// What was asked for, in the order of the requests.
std::vector<std::string> pathsOf(const std::vector<Nginx::Access>& accesses);
