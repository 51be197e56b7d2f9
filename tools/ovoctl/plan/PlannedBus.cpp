// SPDX-License-Identifier: Apache-2.0
#include "PlannedBus.h"

namespace ovoctl {

void PlannedBus::publish(const std::string& destination, const ipc::IPCMessage& message) {
    recorder_.message({destination, message.name, message.params.parameters()});
}

} // namespace ovoctl
