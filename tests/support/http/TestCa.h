// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fault-server/TlsWire.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

using TestIdentity = TlsIdentity;

/// A certificate authority of a test, with EC keys.
class TestCa {
public:
    /// Seconds from now on; negative ones lie in the past.
    struct Validity {
        std::chrono::seconds from{-3600};
        std::chrono::seconds to{24 * 3600};
    };

    explicit TestCa(const std::string& name);
    TestCa(const std::string& name, Validity validity);
    ~TestCa();
    TestCa(const TestCa&) = delete;
    TestCa& operator=(const TestCa&) = delete;

    /// The authority's own certificate, PEM.
    const std::string& certificate() const;
    /// names: subject alternative names as OpenSSL writes them: "DNS:localhost", "IP:127.0.0.1".
    TestIdentity issueServer(const std::vector<std::string>& names, Validity validity) const;
    TestIdentity issueServer(const std::vector<std::string>& names) const;
    /// keyPassword: encrypts the key; empty: it is not.
    TestIdentity issueClient(const std::string& name, const std::string& keyPassword = {}) const;
    TestIdentity issueClient(const std::string& name, Validity validity) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
