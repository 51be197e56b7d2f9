// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <string>

namespace ovoctl {

/// Shows on the standard error where a run is.
class ProgressLine {
public:
    enum class Form {
        BAR,   ///< one line of a terminal, with a bar
        LINES, ///< a line for each file and job
    };
    /// BAR on a terminal.
    static Form usualForm();

    explicit ProgressLine(Form form) : form_(form) {}
    ~ProgressLine(); ///< clears it
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// progress: the parameters of the message of that name.
    void show(const Json::Value& progress);
    /// Leaves the terminal's line empty.
    void clear();

private:
    const Form form_;
    std::string shown_; ///< the last plain line
};

} // namespace ovoctl
