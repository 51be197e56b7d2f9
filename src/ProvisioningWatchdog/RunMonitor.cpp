// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/RunMonitor.h"

#include "Utils.h"
#include "Vocabulary.h"

#include <utility>

namespace ovo {

namespace {

constexpr std::chrono::milliseconds LEAST_INTERVAL{250};
/// Bytes of a text; a message has a limit of 64 KiB.
constexpr std::size_t LONGEST = 2048;

} // namespace

RunMonitor::RunMonitor(ipc::IIPCPublisher& busPublisher, Now clock)
    : publisher(busPublisher), now(std::move(clock)) {}

bool RunMonitor::isDue() const {
    return now() >= next && publisher.isConnected();
}

void RunMonitor::publish(const Progress& progress) {
    next = now() + LEAST_INTERVAL;
    ipc::IpcMsgParams params;
    params.add(bus::parameters::FILE, Utils::shortened(progress.file, LONGEST));
    params.add(bus::parameters::ELEMENT, Utils::shortened(progress.element, LONGEST));
    params.add(bus::parameters::JOB, progress.job);
    params.add(bus::parameters::BYTES, Json::Value(Json::Int64{progress.bytes}));
    params.add(bus::parameters::TOTAL, Json::Value(Json::Int64{progress.total}));
    publisher.publish(bus::destinations::MONITOR,
                      ipc::IPCMessage(bus::messages::PROVISIONING_PROGRESS, params));
}

} // namespace ovo
