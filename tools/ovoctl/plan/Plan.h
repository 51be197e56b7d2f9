// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ovoctl {

/// A property that would be written. Texts are as they may be shown.
struct PlannedProperty {
    std::string key;
    std::optional<std::string> before; ///< nothing: the store does not have the key
    std::string after;
    bool isChange = false; ///< a write of the value that is there already changes nothing
};

/// A message that would be sent on the bus.
struct PlannedMessage {
    std::string destination;
    std::string name;
    Json::Value parameters;
};

/// A file that would be downloaded for the phone, other than a provisioning file.
struct PlannedDownload {
    std::string url; ///< without credentials
    std::string path;
    int httpStatus = 0;
    std::optional<std::uint64_t> bytes; ///< nothing: not known
    bool isFetched = false;             ///< false: only the size was learned
    std::string cause;                  ///< of a failure
};

using PlannedAction = std::variant<PlannedProperty, PlannedMessage, PlannedDownload>;
using PlannedActions = std::vector<PlannedAction>;

struct PlannedRefusal {
    std::string name;
    std::string why;
};

/// What every level of a plan has.
struct PlannedLevel {
    std::string status;
    std::string cause; ///< of its first failure
    std::string remark;
    PlannedActions actions;
};

struct PlannedStep : PlannedLevel {
    std::string type;
};

struct PlannedFirmware {
    std::string installed;
    std::string offered;
    std::string decision;
};

struct PlannedJob : PlannedLevel {
    std::string element;
    std::string job; ///< the handler
    std::optional<std::size_t> requested;
    std::optional<std::size_t> attempted;
    std::optional<std::size_t> applied;
    std::vector<PlannedProperty> parameters;
    std::vector<PlannedRefusal> refused;
    std::vector<PlannedStep> steps;
    std::optional<PlannedFirmware> firmware;
};

struct PlannedFile : PlannedLevel {
    std::string url; ///< without credentials
    int httpStatus = 0;
    std::uint64_t bytes = 0;
    std::vector<PlannedJob> jobs;
};

/// What a run would do, in order.
struct Plan {
    std::string start; ///< the URL or file that was asked about, without credentials
    std::string root;  ///< directory of the phone on this machine
    PlannedActions before;
    std::vector<PlannedFile> files;
    PlannedActions after;
    std::string result; ///< "success", "partSuccess", "fail"; "endless": see stopped
    int httpStatus = 0; ///< the last one of the run
    std::string cause;  ///< empty on success
    /// Why the planning was given up, where the run would go on; empty: it was not.
    std::string stopped;
};

} // namespace ovoctl
