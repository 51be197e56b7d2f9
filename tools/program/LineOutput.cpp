// SPDX-License-Identifier: Apache-2.0
#include "LineOutput.h"

#include "ovoctl/Failure.h"
#include "ovoctl/Output.h"

#include <utility>

namespace program {

LineOutput::LineOutput(std::ostream& output, std::function<void()> onLost)
    : output_(output), onLost_(std::move(onLost)) {}

void LineOutput::write(const std::string& line) {
    {
        const std::lock_guard lock(mutex_);
        if (isLost_ || isWritten(line))
            return;
        isLost_ = true;
    }
    onLost_();
}

void LineOutput::check() const {
    const std::lock_guard lock(mutex_);
    if (failure_)
        std::rethrow_exception(failure_);
}

bool LineOutput::isWritten(const std::string& line) {
    try {
        return static_cast<bool>(output_ << line + "\n" << std::flush);
    } catch (const ovoctl::ReaderLeft&) {
        output_.clear(); // no failure for who flushes it at the end
    } catch (const ovoctl::Unaskable&) {
        failure_ = std::current_exception();
    }
    return false;
}

} // namespace program
