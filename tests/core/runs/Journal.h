// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/logger/LogRecorder.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// What happened in what order: the calls that fakes note here, and the log lines between them. Any
/// thread.
class Journal {
public:
    void add(const std::string& entry);

    /// The calls that begin with one of these prefixes; without prefixes all.
    std::vector<std::string> calls(const std::vector<std::string>& prefixes = {}) const;
    /// The same calls, and the log lines as "LEVEL SOURCE: TEXT".
    std::vector<std::string> all(const std::vector<std::string>& prefixes = {}) const;
    bool has(const std::string& entry) const;
    std::size_t count(const std::string& entry) const;
    /// Waits for so many calls of this text.
    bool waitFor(const std::string& entry, std::size_t count = 1) const;
    void clear();

    const LogRecorder& log() const { return log_; }

private:
    /// A call, and the number of log lines before it.
    using Entry = std::pair<std::string, std::size_t>;

    std::vector<Entry> select(const std::vector<std::string>& prefixes) const;

    LogRecorder log_;
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
};
