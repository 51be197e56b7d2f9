// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "PlanRecorder.h"
#include "ipc/IIPCPublisher.h"

#include <string>

namespace ovoctl {

/// Takes the messages of a run, sends none, and tells the recorder.
class PlannedBus : public ipc::IIPCPublisher {
public:
    /// recorder outlives the bus.
    explicit PlannedBus(PlanRecorder& recorder) : recorder_(recorder) {}

    bool isConnected() const override { return false; }
    void publish(const std::string& destination, const ipc::IPCMessage& message) override;

private:
    PlanRecorder& recorder_;
};

} // namespace ovoctl
