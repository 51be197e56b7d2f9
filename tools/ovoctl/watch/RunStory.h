// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "WatchEntry.h"
#include "propertyapi/Property.h"

#include <json/value.h>

#include <optional>
#include <string>
#include <vector>

namespace ovoctl {

/// Makes one story of the properties and bus messages that tell of runs: asked for, begun, where it
/// is, and its end. The two arrive in no certain order among each other. Not synchronised.
class RunStory {
public:
    using Entries = std::vector<WatchEntry>;

    /// A run is in progress already.
    Entries join();
    /// What a changed property adds to the story, which may be nothing; none: the property does not
    /// belong to a run.
    std::optional<Entries> property(const propertyapi::Property& property);
    /// The same for a message that arrived, described as an object.
    std::optional<Entries> message(const Json::Value& message);

private:
    Entries setInProgress(bool isOn);
    WatchEntry begin();
    Entries progress(const Json::Value& progress);
    Entries end(const std::string& report);

    bool isBegun_ = false;   ///< it was told, and the report has not come
    bool isOver_ = false;    ///< the begun run is not in progress any longer
    bool isInStore_ = false; ///< the store says that one is in progress
    std::string position_;   ///< told last: file, element and job
    int tenths_ = 0;         ///< told last: of the transfer
};

} // namespace ovoctl
