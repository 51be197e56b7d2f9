// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace app {

/// Calls a function once, on a thread of its own, when it is triggered. The thread is made with the
/// object, so that triggering needs nothing that could be missing at that time.
class DeferredCall {
public:
    explicit DeferredCall(std::function<void()> function);
    /// As close().
    ~DeferredCall();
    DeferredCall(const DeferredCall&) = delete;
    DeferredCall& operator=(const DeferredCall&) = delete;

    /// Never blocks; any thread, any number of times.
    void trigger();
    /// Waits for a call that was triggered; triggering does nothing from now on. Idempotent; one
    /// thread at a time.
    void close();

private:
    void run();

    const std::function<void()> function_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool triggered_ = false;
    bool closed_ = false;
    std::thread thread_;
};

} // namespace app
