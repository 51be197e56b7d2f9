// SPDX-License-Identifier: Apache-2.0
#include "LineOutput.h"

#include "ovoctl/Failure.h"
#include "ovoctl/Output.h"

#include <utility>

namespace program {

LineOutput::LineOutput(std::ostream& output, std::function<void()> onLost)
    : onLost_(std::move(onLost)), state_(State{output, false, nullptr}) {}

void LineOutput::write(const std::string& line) {
    {
        const auto state = state_.lock();
        if (state->isLost)
            return;
        state->write(line);
        if (!state->isLost)
            return;
    }
    onLost_();
}

void LineOutput::check() const {
    const auto failure = state_.lock()->failure;
    if (failure)
        std::rethrow_exception(failure);
}

void LineOutput::State::write(const std::string& line) {
    try {
        isLost = !(output << line + "\n" << std::flush);
    } catch (const ovoctl::ReaderLeft&) {
        isLost = true;
        output.clear(); // no failure for who flushes it at the end
    } catch (const ovoctl::Unaskable&) {
        isLost = true;
        failure = std::current_exception();
    }
}

} // namespace program
