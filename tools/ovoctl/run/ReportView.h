// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <json/value.h>

#include <string>

namespace ovoctl {

/// The text of a run report as an object. Throws Unaskable where it is not one.
Json::Value parseReport(const std::string& text);

/// A run report as a table for people: a line for each file, job, step and refused parameter with
/// its result and its cause. Control characters are escaped.
std::string describeReport(const Json::Value& report);

/// The first line of it: which run, its result, how long it took.
std::string summarizeReport(const Json::Value& report);

/// Fine for the report of a run that was a success.
Outcome outcomeOf(const Json::Value& report);

} // namespace ovoctl
