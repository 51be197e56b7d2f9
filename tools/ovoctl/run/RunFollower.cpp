// SPDX-License-Identifier: Apache-2.0
#include "RunFollower.h"

#include "Vocabulary.h"
#include "ipc/mosquitto/Payload.h"
#include "ovoctl/Failure.h"
#include "ovoctl/Output.h"
#include "propertyapi/sqlite/ReadOnlyStore.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace ovoctl {

namespace {

/// A daemon that is ready begins a run within moments.
constexpr std::chrono::seconds LONGEST_START{10};
/// Nobody tells when the daemon ends.
constexpr std::chrono::seconds DAEMON_INTERVAL{1};

/// More of them wait in the store's client.
constexpr std::size_t MOST_REPORTS = 16;

/// The topic on which the user interface asks for runs.
constexpr char REQUEST_TOPIC[] = "phone-ui/prov-client";

} // namespace

RunFollower::RunFollower(Clock::time_point busDeadline)
    : bus_({ovo::bus::destinations::MONITOR}, busDeadline), reports_(MOST_REPORTS) {
    propertyapi::ReadOnlyStore().check(); // the client would make one
    subscriptions_.push_back(store_.subscribeScoped(
        ovo::keys::PROVISIONING_REPORT,
        [this](const propertyapi::Property& report) { reports_.push(report.value); }));
    for (const char* key :
         {ovo::keys::PROVISIONING_IN_PROGRESS, ovo::keys::PROVISIONING_ON_BOOT_UP})
        subscriptions_.push_back(store_.subscribeScoped(
            key, [this](const propertyapi::Property&) { reports_.push({}); }));
}

void RunFollower::request(const std::string& url, Clock::time_point deadline) {
    ipc::IpcMsgParams params;
    params.add(ovo::bus::parameters::LOCATION, url);
    bus_.send(REQUEST_TOPIC, ipc::IPCMessage(ovo::bus::requests::START_PROVISIONING, params),
              deadline);
}

PhoneState RunFollower::waitFor(const Awaited& awaited, std::optional<Clock::time_point> latest,
                                const Progress& progress) {
    Clock::time_point lastBusy = Clock::now();
    for (;;) {
        const PhoneState state = PhoneState::read();
        if (std::optional<PhoneState> found = find(awaited, state))
            return *std::move(found);
        const Clock::time_point now = Clock::now();
        if (state.isInProgress)
            lastBusy = now;
        requireDaemon();
        if (now >= lastBusy + LONGEST_START)
            throw Unaskable(awaited.idle);
        if (latest && now >= *latest)
            throw Unaskable(awaited.late);

        const Clock::time_point next = now + DAEMON_INTERVAL;
        waitForNews(latest ? std::min(next, *latest) : next);
        takeMessages(progress);
    }
}

/// Of the bus, of the store, or none until then.
void RunFollower::waitForNews(Clock::time_point latest) {
    std::array<pollfd, 2> descriptors{{bus_.descriptor(), {reports_.descriptor(), POLLIN, 0}}};
    if (endless_.wait(descriptors, std::min(bus_.latest(), latest)))
        return bus_.handle(descriptors[0].revents);
    if (endless_.hasReaderLeft())
        throw ReaderLeft();
    throw Unaskable("told to end before the run did; it goes on");
}

/// Looks at the reports that came meanwhile first.
std::optional<PhoneState> RunFollower::find(const Awaited& awaited, const PhoneState& now) {
    PhoneState then = now;
    for (std::string& report : reports_.take()) {
        if (report.empty())
            continue;
        then.report = std::move(report);
        if (awaited.isThere(then))
            return then;
    }
    return awaited.isThere(now) ? std::optional(now) : std::nullopt;
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
