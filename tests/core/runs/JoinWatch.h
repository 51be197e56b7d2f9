// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "WatchedThreads.h"
#include "support/process/WaitUntil.h"

#include <atomic>

/// Lets a test see that a thread has come to where it waits for the end of another one.
class JoinWatch {
public:
    bool waitForJoin() const {
        return waitUntil([this] { return joins > 0; });
    }

private:
    std::atomic<int> joins = 0;
    const WatchedThreads watched{{.onJoin = [this] {
        ++joins;
    }}};
};
