// SPDX-License-Identifier: Apache-2.0
#include "Neighbourhood.h"

#include "BusThread.h"

#include <algorithm>
#include <utility>

namespace simulator {

/// A neighbour while it is on the bus.
struct Neighbourhood::Presence {
    Presence(const NeighbourDescription& description, const std::string& busAddress,
             EventPrinter& printer, NeighbourScenario& scenario, Neighbour::Leave leave)
        : neighbour(description, busAddress, thread.strategy(), printer, scenario,
                    std::move(leave)) {}

    BusThread thread;
    Neighbour neighbour;
};

Neighbourhood::Neighbourhood(std::vector<NeighbourDescription> descriptions, std::string busAddress,
                             NeighbourScenario& scenario, EventPrinter& printer)
    : busAddress_(std::move(busAddress)), scenario_(scenario), printer_(printer) {
    for (NeighbourDescription& description : descriptions) {
        const auto absence = scenario_.absence(description.name);
        places_.push_back({std::move(description), nullptr,
                           absence ? std::optional(Clock::now() + *absence) : std::nullopt});
    }
    for (std::size_t index = 0; index < places_.size(); ++index) {
        std::shared_ptr<Presence> presence;
        if (!places_[index].comesAt)
            presence = enter(index);
        const std::lock_guard lock(mutex_);
        places_[index].presence = std::move(presence);
    }
    thread_ = std::thread([this] { bringBack(); });
}

Neighbourhood::~Neighbourhood() {
    scenario_.end();
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    thread_.join();
    // Not under the lock: their handlers may want it.
    std::vector<std::shared_ptr<Presence>> presences;
    {
        const std::lock_guard lock(mutex_);
        for (Place& place : places_)
            presences.push_back(std::move(place.presence));
    }
}

std::vector<std::string> Neighbourhood::names() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> names;
    for (const Place& place : places_) {
        if (!place.comesAt)
            names.push_back(place.description.name);
    }
    return names;
}

bool Neighbourhood::isConnected() const {
    const std::lock_guard lock(mutex_);
    return std::all_of(places_.begin(), places_.end(), [](const Place& place) {
        return place.comesAt || (place.presence && place.presence->neighbour.isConnected());
    });
}

/// Not under the lock. The descriptions never change.
std::shared_ptr<Neighbourhood::Presence> Neighbourhood::enter(std::size_t index) {
    return std::make_shared<Presence>(
        places_[index].description, busAddress_, printer_, scenario_,
        [this, index](std::chrono::milliseconds time) { leave(index, time); });
}

/// On the neighbour's message thread, which therefore cannot destroy it.
void Neighbourhood::leave(std::size_t index, std::chrono::milliseconds time) {
    {
        const std::lock_guard lock(mutex_);
        places_[index].comesAt = Clock::now() + time;
    }
    changed_.notify_all();
}

/// The place whose neighbour comes next; null when all are there.
Neighbourhood::Place* Neighbourhood::nextToCome() {
    Place* next = nullptr;
    for (Place& place : places_) {
        if (place.comesAt && (next == nullptr || *place.comesAt < *next->comesAt))
            next = &place;
    }
    return next;
}

void Neighbourhood::bringBack() {
    std::unique_lock lock(mutex_);
    while (!isEnding_) {
        Place* place = nextToCome();
        if (place == nullptr) {
            changed_.wait(lock);
            continue;
        }
        if (Clock::now() < *place->comesAt) {
            const Clock::time_point time = *place->comesAt; // may change while the lock is free
            changed_.wait_until(lock, time);
            continue;
        }
        place->comesAt.reset();
        std::shared_ptr<Presence> previous = std::move(place->presence);
        lock.unlock();
        previous.reset();
        std::shared_ptr<Presence> presence =
            enter(static_cast<std::size_t>(place - places_.data()));
        printer_.print({place->description.name, Event::Kind::NOTE, "", "comes to the bus"});
        lock.lock();
        place->presence = std::move(presence);
    }
}

} // namespace simulator
