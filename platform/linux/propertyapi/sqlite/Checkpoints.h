// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "OpenStore.h"
#include "SqliteSettings.h"

#include <chrono>

namespace propertyapi {

/// Keeps the write-ahead log short: moves it into the database when it has grown. It never takes
/// the store's write lock: a program that does not wait for locks, such as the stock shell, would
/// fail because of that. Used by the notification thread.
class Checkpoints {
public:
    Checkpoints(OpenStore& store, const SqliteSettings& settings)
        : store_(store), settings_(settings) {}

    /// Moves the log when that is due. isQuiet: nobody has written for the quiet time. A failure is
    /// logged, once until a move was successful.
    void look(bool isQuiet);

private:
    bool isDue(bool isQuiet);

    OpenStore& store_;
    const SqliteSettings settings_;
    std::chrono::steady_clock::time_point last_{};
    bool isFailing_ = false;
};

} // namespace propertyapi
