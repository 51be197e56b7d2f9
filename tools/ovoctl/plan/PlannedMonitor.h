// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IIPCPublisher.h"

#include <json/value.h>

#include <functional>
#include <string>
#include <utility>

namespace ovoctl {

/// The end of the bus where the progress of a planned run arrives.
class PlannedMonitor : public ipc::IIPCPublisher {
public:
    /// progress: empty: nobody watches.
    explicit PlannedMonitor(std::function<void(const Json::Value&)> progress)
        : progress_(std::move(progress)) {}

    bool isConnected() const override { return static_cast<bool>(progress_); }
    void publish(const std::string& /*destination*/, const ipc::IPCMessage& message) override {
        progress_(message.params.parameters());
    }

private:
    const std::function<void(const Json::Value&)> progress_;
};

} // namespace ovoctl
