// SPDX-License-Identifier: Apache-2.0
#include "EveryKeyWatch.h"

#include "paths/Paths.h"
#include "propertyapi/sqlite/LookSchedule.h"
#include "propertyapi/sqlite/ReadOnlyStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <chrono>
#include <exception>
#include <iostream>
#include <utility>

namespace ovoctl {

using propertyapi::CommitWatch;
using propertyapi::ReadOnlyStore;

EveryKeyWatch::EveryKeyWatch(std::function<void(const propertyapi::Property&)> changed)
    : changed_(std::move(changed))
    , watch_(paths::toHost(propertyapi::SqlitePropertyApi::STORE).with("-wal"))
    , values_(read())
    , thread_([this] { run(); }) {}

EveryKeyWatch::~EveryKeyWatch() {
    isEnding_ = true;
    watch_.wake();
    thread_.join();
}

/// The write that is told comes before the commit, so the store is looked at again, as the schedule
/// says.
void EveryKeyWatch::run() {
    propertyapi::LookSchedule schedule;
    while (!isEnding_) {
        look();
        const CommitWatch::Cause cause =
            watch_.wait(std::chrono::steady_clock::now() + schedule.next());
        if (cause == CommitWatch::Cause::NAMES_CHANGED)
            watch_.follow();
        if (cause != CommitWatch::Cause::TIME)
            schedule.restart();
        schedule.found(); // each look reads the whole store
    }
}

void EveryKeyWatch::look() {
    try {
        Values before = std::exchange(values_, read());
        failure_.clear();
        for (const auto& [key, value] : values_) {
            const auto known = before.extract(key);
            if (known.empty() ? !value.empty() : known.mapped() != value)
                changed_({key, value});
        }
        for (const auto& [key, value] : before)
            if (!value.empty())
                changed_({key, ""});
    } catch (const std::exception& failure) {
        if (std::exchange(failure_, failure.what()) != failure.what())
            std::cerr << "ovoctl: " << failure_ << "\n";
    }
}

EveryKeyWatch::Values EveryKeyWatch::read() {
    Values values;
    for (propertyapi::StoredProperty& property : ReadOnlyStore().list(""))
        values.emplace(std::move(property.key), std::move(property.value));
    return values;
}

} // namespace ovoctl
