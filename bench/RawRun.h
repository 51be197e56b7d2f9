// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>

/// The work of one run done with the libraries alone: HTTP get, key derivation and decryption, XML
/// parse, one transaction. No checks, no rules, no result published.
class RawRun {
public:
    struct Times {
        std::chrono::nanoseconds get{0};
        std::chrono::nanoseconds decrypt{0};
        std::chrono::nanoseconds parse{0};
        std::chrono::nanoseconds store{0};

        std::chrono::nanoseconds total() const { return get + decrypt + parse + store; }
    };

    /// database: a SQLite file of this machine with a table property(key, value, origin).
    RawRun(const std::string& database, std::string password);
    ~RawRun();
    RawRun(const RawRun&) = delete;
    RawRun& operator=(const RawRun&) = delete;

    Times run(const std::string& url);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
