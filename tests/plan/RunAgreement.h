// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Phone.h"
#include "PlanProgram.h"

#include <json/value.h>

#include <map>
#include <string>

/// The report of the last run.
Json::Value reportOf(const Phone& phone);
/// What a plan or a report of a run says of a file: status, cause, jobs with their parameters,
/// steps and results.
Json::Value decisionsOfFile(const Json::Value& file);
/// The properties that a plan writes, each with its last value.
std::map<std::string, std::string> plannedProperties(const Json::Value& plan);

/// Lets a daemon that has booted do what was planned, and compares: jobs, parameters, steps,
/// results and causes; the messages in order; the properties; the files that were downloaded. The
/// report.
Json::Value expectRunAsPlanned(Phone& phone, const std::string& url,
                               const planprogram::Planned& planned);
