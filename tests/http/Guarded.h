// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>
#include <utility>

/// A value that the test changes and a server's thread reads.
template <typename Value>
class Guarded {
public:
    Guarded() = default;

    void set(Value value) {
        const std::lock_guard lock(mutex_);
        value_ = std::move(value);
    }
    Value get() const {
        const std::lock_guard lock(mutex_);
        return value_;
    }

private:
    mutable std::mutex mutex_;
    Value value_{};
};
