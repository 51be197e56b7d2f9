// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace logger {

/// Writes lines to standard error. Where that is closed, full or without a reader, lines are lost,
/// but the process is neither ended nor stopped for long. For one thread at a time.
class StderrWriter {
public:
    /// line: with its line feed.
    void write(std::string_view line);

private:
    std::size_t writeUntilFull(std::string_view text);

    bool cut_ = false;     ///< the last line was cut off: the next begins on a line of its own
    bool stalled_ = false; ///< the last line found no room: the next one does not wait again
};

} // namespace logger
