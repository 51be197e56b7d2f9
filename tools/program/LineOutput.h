// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Guarded.h"

#include <exception>
#include <functional>
#include <ostream>
#include <string>

namespace program {

/// Lines on an output, each written at once. Any thread; lines never mix.
class LineOutput {
public:
    /// onLost is called once, when writing fails for the first time; it must not write. What is
    /// written after that is dropped.
    LineOutput(std::ostream& output, std::function<void()> onLost);
    LineOutput(const LineOutput&) = delete;
    LineOutput& operator=(const LineOutput&) = delete;

    /// line: without its end. Does not throw for an output that fails.
    void write(const std::string& line);

    /// Throws ovoctl::Unaskable, with the cause, when a line could not be written. A reader that
    /// left is no failure.
    void check() const;

private:
    struct State {
        std::ostream& output;
        bool isLost = false;
        std::exception_ptr failure;

        void write(const std::string& line);
    };

    const std::function<void()> onLost_;
    common::Guarded<State> state_; ///< locked while a line is written: keeps lines apart
};

} // namespace program
