// SPDX-License-Identifier: Apache-2.0
#include "Simulator.h"

#include "NeighbourScenario.h"
#include "NeighbourTable.h"
#include "Neighbourhood.h"
#include "PropertyWatch.h"
#include "Requester.h"
#include "StoreServiceTable.h"
#include "Termination.h"
#include "TrustedCertificates.h"
#include "app/Environment.h"
#include "app/SignalBlock.h"
#include "ipc/mosquitto/BusAddress.h"
#include "ovoctl/Failure.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <algorithm>
#include <chrono>
#include <list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace simulator {

namespace {

using Clock = termination::Clock;

/// Waits some time for all neighbours to be on the bus, by polling: their clients do not report it.
/// False when they are not, or the process is told to end.
bool waitForBus(const Neighbourhood& neighbours, std::optional<Clock::time_point> end) {
    constexpr std::chrono::seconds LONGEST(2);
    constexpr std::chrono::milliseconds INTERVAL(5);
    const Clock::time_point deadline =
        std::min(end.value_or(Clock::time_point::max()), Clock::now() + Clock::duration(LONGEST));
    while (!neighbours.isConnected()) {
        if (Clock::now() >= deadline)
            return false;
        if (termination::waitUntil(Clock::now() + INTERVAL)) {
            termination::request(); // for the caller's own wait
            return false;
        }
    }
    return true;
}

std::string busAddress() {
    std::string address = app::Environment::read().busAddress;
    try {
        ipc::BusAddress::parse(address);
    } catch (const std::runtime_error& error) {
        throw ovoctl::Misuse(error.what());
    }
    return address;
}

std::string greeting(const std::vector<std::string>& neighbours, const std::string& bus,
                     bool isConnected) {
    std::string text = neighbours.empty() ? "no neighbours" : "neighbours:";
    for (const std::string& name : neighbours)
        text += " " + name;
    text += " on " + bus;
    return isConnected ? text : text + ", which is not there yet";
}

} // namespace

Simulator::Simulator(std::ostream& output) : output_(output) {}

ovoctl::Outcome Simulator::operator()(const RunCommand& command) const {
    const app::SignalBlock signals; // before the first thread
    const Clock::time_point start = Clock::now();
    const std::optional<Clock::time_point> end =
        command.timeout ? std::optional(start + *command.timeout) : std::nullopt;
    EventPrinter printer(output_, command.format, termination::request);
    const Readiness readiness(command.notReady, start + command.readyAfter);
    const propertyapi::SqlitePropertyApi store;
    const PropertyWatch watch(store, command.watchedKeys, printer);
    std::list<StoreService> storeServices;
    for (StoreServiceDescription& description : storeServiceTable(command.refusesFirmware))
        storeServices.emplace_back(std::move(description), store, printer);
    const TrustedCertificates certificates(store, printer, SYSTEM_CONFIGURATION,
                                           command.acceptsPending);
    const std::string bus = busAddress();
    NeighbourScenario scenario(command.scenario);
    std::vector<NeighbourDescription> descriptions =
        neighbourTable(readiness, command.credentials, certificates);
    std::erase_if(descriptions, [&](const NeighbourDescription& description) {
        return command.silent.count(description.name) > 0;
    });
    const Neighbourhood neighbours(std::move(descriptions), bus, scenario, printer);
    const std::vector<std::string> names = neighbours.names();
    printer.note(greeting(names, bus, waitForBus(neighbours, end)));
    termination::waitUntil(end);
    printer.check();
    return ovoctl::Outcome::FINE;
}

ovoctl::Outcome Simulator::operator()(const TriggerCommand& command) const {
    EventPrinter printer(output_, command.format);
    const Requester requester(busAddress(), command.sender, command.timeout, printer);
    ipc::IpcMsgParams params;
    params.add("location", command.url);
    if (!command.wantsAnswer) {
        requester.send("startProvisioning", params);
        return ovoctl::Outcome::FINE;
    }
    const ipc::IpcMsgParams answer = requester.ask("startProvisioning", params);
    return answer.parameters().isMember("error") ? ovoctl::Outcome::FINDING : ovoctl::Outcome::FINE;
}

ovoctl::Outcome Simulator::operator()(const BusyCommand& command) const {
    EventPrinter printer(output_, command.format);
    const Requester requester(busAddress(), command.sender, command.timeout, printer);
    return requester.ask("AreYouBusy", {}).get<bool>("isBusy") ? ovoctl::Outcome::FINDING
                                                               : ovoctl::Outcome::FINE;
}

ovoctl::Outcome Simulator::operator()(const HelpCommand& command) const {
    output_ << command.text << std::flush;
    return ovoctl::Outcome::FINE;
}

} // namespace simulator
