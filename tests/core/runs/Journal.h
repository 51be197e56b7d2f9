// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/logger/LogRecorder.h"

#include <mutex>
#include <string>
#include <vector>

/// The calls that fakes note here, in order, and the log lines meanwhile. Any thread.
class Journal {
public:
    void add(const std::string& entry);

    /// The calls that begin with one of these prefixes; without prefixes all.
    std::vector<std::string> calls(const std::vector<std::string>& prefixes = {}) const;
    bool has(const std::string& entry) const;
    std::size_t count(const std::string& entry) const;
    /// Waits for so many calls of this text.
    bool waitFor(const std::string& entry, std::size_t count = 1) const;
    void clear();

    const LogRecorder& log() const { return log_; }

private:
    LogRecorder log_;
    mutable std::mutex mutex_;
    std::vector<std::string> entries_;
};
