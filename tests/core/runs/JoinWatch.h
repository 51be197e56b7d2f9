#ifndef JOINWATCH_H
#define JOINWATCH_H

#include "WaitUntil.h"
#include "WatchedThreads.h"

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

#endif
