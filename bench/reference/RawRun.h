// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

/// The work of one run done with the libraries alone: HTTP get, key derivation and decryption, XML
/// parse, one transaction. No checks, no rules. One thread; all throw std::runtime_error.
class RawRun {
public:
    /// database: a SQLite file of this machine; a table property(key, value, origin) is made in it
    /// where it lacks one.
    RawRun(const std::string& database, std::string password, std::string caBundle);
    ~RawRun();
    RawRun(const RawRun&) = delete;
    RawRun& operator=(const RawRun&) = delete;

    void run(const std::string& url);
    /// The first part of it alone.
    void get(const std::string& url);
    /// One property, as durable as a run's.
    void write(const std::string& key, const std::string& value);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
