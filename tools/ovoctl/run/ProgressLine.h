// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <string>

namespace ovoctl {

/// Shows on the standard error where a run is: on a terminal in one line with a bar, otherwise in a
/// line for each file and job.
class ProgressLine {
public:
    ProgressLine();
    ~ProgressLine(); ///< clears it
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(const Json::Value& progress);
    /// Leaves the terminal's line empty.
    void clear();

private:
    const bool isTerminal_;
    std::string shown_; ///< the last plain line
};

} // namespace ovoctl
