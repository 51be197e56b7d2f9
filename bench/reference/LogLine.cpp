// SPDX-License-Identifier: Apache-2.0
#include "LogLine.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <ctime>

std::string timeText() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::tm date{};
    ::gmtime_r(&now.tv_sec, &date);
    std::array<char, 64> text{};
    const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &date);
    std::snprintf(text.data() + size, text.size() - size, ".%03dZ",
                  static_cast<int>(now.tv_nsec / 1000000));
    return text.data();
}

void logLine(const std::string& text) {
    const std::string line = timeText() + " 1 RequiredSteps " + text + "\n";
    // One call, so that lines of several threads do not mix; a lost line is no matter.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}
