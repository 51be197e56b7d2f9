// SPDX-License-Identifier: Apache-2.0
#include "DeferredCall.h"

#include <utility>

namespace app {

DeferredCall::DeferredCall(std::function<void()> function)
    : function_(std::move(function)), thread_([this] { run(); }) {}

DeferredCall::~DeferredCall() {
    close();
}

void DeferredCall::trigger() {
    {
        const std::lock_guard lock(mutex_);
        if (closed_)
            return;
        triggered_ = true;
    }
    changed_.notify_all();
}

void DeferredCall::close() {
    {
        const std::lock_guard lock(mutex_);
        closed_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

void DeferredCall::run() {
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return triggered_ || closed_; });
        if (!triggered_)
            return;
    }
    function_();
}

} // namespace app
