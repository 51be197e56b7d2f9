// SPDX-License-Identifier: Apache-2.0
#include "JournalWriter.h"
#include "StderrWriter.h"
#include "common/Guarded.h"
#include "common/WallClock.h"
#include "logger/Logger.h"
#include "text/Escape.h"
#include "text/MaskedText.h"
#include "text/Quote.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <string>
#include <string_view>

namespace logger {

namespace {

/// So many decimal digits, and a character.
void append(std::string& text, unsigned int number, std::size_t digits, char after) {
    text.append(digits, '0');
    for (auto digit = text.rbegin(); digits > 0; --digits, number /= 10)
        *digit++ = static_cast<char>('0' + number % 10);
    text += after;
}

/// "2026-05-01T12:00:00.007Z": UTC.
std::string now() {
    using namespace std::chrono;
    const auto time = floor<milliseconds>(common::WallClock::now());
    const auto midnight = floor<days>(time);
    const year_month_day date(midnight);
    const hh_mm_ss clock(time - midnight);
    const auto number = [](const auto& duration) {
        return static_cast<unsigned int>(duration.count());
    };
    std::string text;
    append(text, static_cast<unsigned int>(int(date.year())), 4, '-');
    append(text, unsigned(date.month()), 2, '-');
    append(text, unsigned(date.day()), 2, 'T');
    append(text, number(clock.hours()), 2, ':');
    append(text, number(clock.minutes()), 2, ':');
    append(text, number(clock.seconds()), 2, '.');
    append(text, number(clock.subseconds()), 3, 'Z');
    return text;
}

/// TIME LEVEL SOURCE:LINE TEXT
std::string lineOf(const Record& record, std::string_view text) {
    const int level = std::clamp<int>(record.level, PROGRESS, FAILURE);
    std::string line = now();
    line.append(" ").append(std::to_string(level)).append(" ").append(record.source);
    line.append(":").append(std::to_string(record.line)).append(" ").append(text).append("\n");
    return line;
}

/// Without a standard error, the next file that the process opens would get its number, and the log
/// lines.
void reserveStderr() {
    if (::fcntl(STDERR_FILENO, F_GETFD) >= 0)
        return;
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0 || nowhere == STDERR_FILENO)
        return;
    ::dup2(nowhere, STDERR_FILENO);
    ::close(nowhere);
}

std::string configuredLevel() {
    const char* value = std::getenv("HALDEN_LOG");
    return value == nullptr ? "" : value;
}

/// PROGRESS for a text that is not a level.
int levelOf(const std::string& text) {
    return text == "2" ? NOTABLE : text == "3" ? FAILURE : PROGRESS;
}

/// The destination of the lines, chosen at the first one.
class Output {
public:
    Output() { reserveStderr(); }

    int lowestLevel() const { return lowestLevel_; }

    void write(const Record& record) {
        writeLine(record);
        // After the first line, which is the program's own.
        std::call_once(levelChecked_, [this] { checkLevel(); });
    }

private:
    void checkLevel() {
        const bool isLevel = level_.empty() || level_ == "1" || lowestLevel_ != PROGRESS;
        if (isLevel)
            return;
        const std::string text =
            "HALDEN_LOG is " + quote(level_) + ", which is not a level (1, 2 or 3): 1 is taken";
        writeLine({NOTABLE, sourceName(__FILE__), __LINE__, text});
    }

    void writeLine(const Record& record) {
        const std::string text = escapeControls(withMaskedPasswords(record.text));
        if (toJournal_ && JournalWriter::write(record, text))
            return;
        stderr_.lock()->write(lineOf(record, text));
    }

    const std::string level_ = configuredLevel();
    const int lowestLevel_ = levelOf(level_);
    std::once_flag levelChecked_;
    /// Its lock is held while a line is written: that keeps the lines of several threads apart.
    common::Guarded<StderrWriter> stderr_;
    const bool toJournal_ = JournalWriter::isStderrTheJournal();
};

Output& output() {
    // Never destroyed: destructors of other objects may log until the end of the process.
    static Output& theOutput = *new Output;
    return theOutput;
}

} // namespace

void write(const Record& record) noexcept {
    if (!isEnabled(record.level))
        return;
    try {
        output().write(record);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the line is lost
    }
}

bool isEnabled(int level) noexcept {
    try {
        return level >= output().lowestLevel();
    } catch (const std::exception&) {
        return true;
    }
}

} // namespace logger
