// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "app/ProcessLock.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/http/Nginx.h"
#include "support/http/TestCa.h"
#include "support/ipc/Broker.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A line of the doctor.
struct DoctorLine {
    std::string check;
    std::string level;
    std::string what;
    std::string cure;
};

/// What a visit of the doctor came to.
struct Visit {
    int status = -1;
    std::string output; ///< errors included
    std::vector<DoctorLine> lines;

    /// Those of a check.
    std::vector<DoctorLine> of(const std::string& check) const;
};

/// A phone with everything that provisioning needs: a broker, a daemon's lock, a store, its files,
/// and a web server with TLS. Each test takes something away.
class SickPhone : public testing::Test {
protected:
    static constexpr const char* STORE = "/data/properties.db";
    static constexpr const char* BUNDLE = "/data/certs/ca-bundle.pem";
    static constexpr const char* CONFIGURATION = "/etc/phoneconfig.json";
    static constexpr const char* KEY = "/etc/ovo.d/key";
    static constexpr const char* SECRET = "s3cret-pa55word";

    SickPhone();

    /// Starts the web server that the phone is to use; at first it has "/phone.xml" for everybody.
    void serve(const std::string& locations, const std::string& clientCa = {});
    void serve(const std::string& locations, const TestIdentity& identity);
    /// Writes to the store and closes it.
    static void set(const std::map<std::string, std::string>& values);
    /// Runs statements with the stock shell.
    void sql(const std::string& statements) const;
    void mode(const std::string& phonePath, unsigned int bits) const;

    static Visit visit(const std::vector<std::string>& words = {},
                       const std::map<std::string, std::string>& environment = {});
    /// Expects exactly one line of the check, with the level and the texts in it, and status 1
    /// unless the level is "ok".
    static void expect(const Visit& visit, const std::string& check, const std::string& level,
                       const std::string& what, const std::string& cure = {});
    /// What a check says when it cannot be made.
    static void expectSkipped(const Visit& visit, const std::vector<std::string>& checks);

    PhoneRoot root;
    Broker broker;
    std::optional<app::ProcessLock> daemon;
    TestCa ca{"Test authority"};
    TestCa other{"Other authority"};
    std::unique_ptr<Nginx> nginx;
};
