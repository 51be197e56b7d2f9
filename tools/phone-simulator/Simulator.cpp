#include "Simulator.h"

#include "Environment.h"
#include "MessageThread.h"
#include "Neighbour.h"
#include "PropertyWatch.h"
#include "Requester.h"
#include "SignalBlock.h"
#include "SqlitePropertyApi.h"
#include "Termination.h"

#include <list>
#include <memory>

namespace simulator {

namespace {

constexpr int IDLE = 0;
constexpr int BUSY = 1;

std::string listed(const std::list<Neighbour>& neighbours, const std::string& names) {
    return neighbours.empty() ? "no neighbours" : "neighbours:" + names;
}

} // namespace

Simulator::Simulator(std::ostream& output) : output_(output) {}

int Simulator::operator()(const RunCommand& command) const {
    const app::SignalBlock signals; // before the first thread
    EventPrinter printer(output_, command.format, termination::request);
    const Readiness readiness(command.notReady, Readiness::Clock::now() + command.readyAfter);
    const propertyapi::SqlitePropertyApi store;
    const PropertyWatch watch(store, command.watchedKeys, printer);
    const std::string bus = app::Environment::read().busAddress;
    const auto messageThread = std::make_shared<ipc::MessageThread>();

    std::list<Neighbour> neighbours;
    std::string names;
    for (NeighbourDescription& description : neighbourTable(readiness, command.credentials)) {
        if (command.silent.count(description.name) > 0)
            continue;
        names += " " + description.name;
        neighbours.emplace_back(std::move(description), bus, messageThread, printer);
    }
    printer.note(listed(neighbours, names) + " on " + bus);
    termination::wait(command.timeout);
    return 0;
}

int Simulator::operator()(const TriggerCommand& command) const {
    EventPrinter printer(output_, command.format);
    const Requester requester(app::Environment::read().busAddress, command.sender, command.timeout,
                              printer);
    ipc::IpcMsgParams params;
    params.add("location", command.url);
    if (command.wantsAnswer)
        requester.ask("startProvisioning", params);
    else
        requester.send("startProvisioning", params);
    return 0;
}

int Simulator::operator()(const BusyCommand& command) const {
    EventPrinter printer(output_, command.format);
    const Requester requester(app::Environment::read().busAddress, command.sender, command.timeout,
                              printer);
    return requester.ask("AreYouBusy", {}).get<bool>("isBusy") ? BUSY : IDLE;
}

int Simulator::operator()(const HelpCommand& command) const {
    output_ << command.text << std::flush;
    return 0;
}

} // namespace simulator
