// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Plan.h"

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <string>

namespace ovoctl {

struct PlanRequest {
    /// What the phone would be told to run: a URL, or a file of this machine.
    std::string start;
    /// URL at which such a file will lie; empty: nobody knows, and what it says relative to itself
    /// cannot be fetched.
    std::string base;
    /// A run of more provisioning files is a loop, most likely, and not planned any further.
    std::size_t mostFiles = 1000;
    /// Called on the run's thread, at most four times a second, with what a run publishes of its
    /// progress on the bus; empty: nobody watches.
    std::function<void(const Json::Value&)> progress = {};
};

/// What the phone below HALDEN_ROOT would do, were it told to run that now: the daemon's own run
/// over interfaces that record instead of act. Changes nothing on the phone and sends nothing on
/// the bus; fetches what the run would fetch, with the phone's credentials. Call it before any
/// thread runs. Throws Misuse and Unaskable.
Plan makePlan(const PlanRequest& request);

} // namespace ovoctl
