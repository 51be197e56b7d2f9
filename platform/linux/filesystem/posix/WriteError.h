// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <system_error>

namespace filesystem {

/// The system refused a step on the way of a file to its place.
class WriteError : public std::system_error {
public:
    enum class Step { Create, SetMode, Write, Flush, Place, FlushDirectory };

    WriteError(const std::string& phonePath, Step step, int cause)
        : std::system_error(cause, std::generic_category(), "Writing \"" + phonePath + "\"")
        , step_(step) {}

    Step step() const { return step_; }

private:
    Step step_;
};

} // namespace filesystem
