// SPDX-License-Identifier: Apache-2.0
#include "RunFollower.h"

#include "Vocabulary.h"
#include "ipc/mosquitto/Payload.h"
#include "ovoctl/Failure.h"
#include "propertyapi/sqlite/ReadOnlyStore.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace ovoctl {

namespace {

/// A daemon that is ready begins a run within moments.
constexpr std::chrono::seconds LONGEST_START{10};
/// Nobody tells when the daemon ends.
constexpr std::chrono::seconds DAEMON_INTERVAL{1};

/// The topic on which the user interface asks for runs.
constexpr char REQUEST_TOPIC[] = "phone-ui/prov-client";

} // namespace

RunFollower::RunFollower(Clock::time_point busDeadline)
    : bus_({ovo::bus::destinations::MONITOR}, busDeadline) {
    propertyapi::ReadOnlyStore().check(); // the client would make one
    for (const char* key : {ovo::keys::PROVISIONING_REPORT, ovo::keys::PROVISIONING_IN_PROGRESS,
                            ovo::keys::PROVISIONING_ON_BOOT_UP})
        subscriptions_.push_back(store_.subscribeScoped(
            key, [this](const propertyapi::Property&) { changed_.signal(); }));
}

void RunFollower::request(const std::string& url, Clock::time_point deadline) {
    ipc::IpcMsgParams params;
    params.add(ovo::bus::parameters::LOCATION, url);
    bus_.send(REQUEST_TOPIC, ipc::IPCMessage(ovo::bus::requests::START_PROVISIONING, params),
              deadline);
}

std::optional<PhoneState> RunFollower::waitFor(const Awaited& awaited,
                                               std::optional<Clock::time_point> latest,
                                               const Progress& progress) {
    Clock::time_point lastBusy = Clock::now();
    for (;;) {
        PhoneState state = PhoneState::read();
        if (awaited.isThere(state))
            return state;
        const Clock::time_point now = Clock::now();
        if (state.isInProgress)
            lastBusy = now;
        requireDaemon();
        if (now >= lastBusy + LONGEST_START)
            throw Unaskable(awaited.idle);
        if (latest && now >= *latest)
            throw Unaskable(awaited.late);

        std::array<pollfd, 2> descriptors{{bus_.descriptor(), {changed_.descriptor(), POLLIN, 0}}};
        Clock::time_point next = std::min(bus_.latest(), now + DAEMON_INTERVAL);
        if (latest)
            next = std::min(next, *latest);
        if (!endless_.wait(descriptors, next))
            return std::nullopt;
        changed_.clear();
        bus_.handle(descriptors[0].revents);
        takeMessages(progress);
    }
}

void RunFollower::takeMessages(const Progress& progress) {
    for (const ipc::IncomingMessage& message : bus_.take()) {
        try {
            const ipc::IPCMessage decoded = ipc::decode(message.payload);
            if (decoded.name == ovo::bus::messages::PROVISIONING_PROGRESS)
                progress(decoded.params.parameters());
        } catch (const std::runtime_error&) {
            continue; // another program sent it, and it is not a message
        }
    }
}

} // namespace ovoctl
