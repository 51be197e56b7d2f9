// SPDX-License-Identifier: Apache-2.0
#include "Log.h"

#include "logger/Logger.h"
#include "text/Escape.h"
#include "text/MaskedText.h"

#include <unistd.h>

#include <atomic>
#include <exception>
#include <string>

namespace {

std::atomic<bool> isShown{false};

} // namespace

namespace ovoctl::log {

void show() noexcept {
    isShown = true;
}

} // namespace ovoctl::log

namespace logger {

void write(const Record& record) noexcept {
    if (!isShown)
        return;
    try {
        std::string line = std::to_string(record.level) + " ";
        line.append(record.source).append(": ");
        line.append(escapeControls(withMaskedPasswords(record.text))).append("\n");
        // In one call, so that the lines of several threads stay apart.
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the line is lost
    }
}

bool isEnabled(int) noexcept {
    return isShown;
}

} // namespace logger
