// SPDX-License-Identifier: Apache-2.0
#include "JournalWriter.h"
#include "MaskedText.h"
#include "StderrWriter.h"
#include "logger/Logger.h"
#include "text/Escape.h"
#include "text/Quote.h"

#include <fcntl.h>
#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <string>

namespace logger {

namespace {

spdlog::level::level_enum libraryLevel(int level) {
    if (level <= PROGRESS)
        return spdlog::level::info;
    return level == NOTABLE ? spdlog::level::warn : spdlog::level::err;
}

/// %*: the level as this system counts it.
class LevelNumber : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg& message, const std::tm& /*time*/,
                spdlog::memory_buf_t& line) override {
        line.push_back(message.level == spdlog::level::info   ? '1'
                       : message.level == spdlog::level::warn ? '2'
                                                              : '3');
    }
    std::unique_ptr<custom_flag_formatter> clone() const override {
        return std::make_unique<LevelNumber>();
    }
};

/// One line a message. The sink's lock is held while a line is written: that is what keeps the
/// lines of several threads apart.
class StderrSink : public spdlog::sinks::base_sink<std::mutex> {
public:
    StderrSink() {
        auto formatter =
            std::make_unique<spdlog::pattern_formatter>(spdlog::pattern_time_type::utc, "\n");
        formatter->add_flag<LevelNumber>('*').set_pattern("%Y-%m-%dT%H:%M:%S.%eZ %* %s:%# %v");
        formatter_ = std::move(formatter);
    }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        writer_.write({line.data(), line.size()});
    }
    void flush_() override {}

private:
    StderrWriter writer_;
};

/// A process without a standard error would give its number to the next file that it opens, and the
/// lines would go there.
void keepStderrFromOthers() {
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

/// PROGRESS for what is not a level.
int levelOf(const std::string& text) {
    return text == "2" ? NOTABLE : text == "3" ? FAILURE : PROGRESS;
}

/// Where the lines go; decided at the first one.
class Output {
public:
    Output() { keepStderrFromOthers(); }

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
        const std::string source(record.source);
        const std::string text = escapeControls(withMaskedPasswords(record.text));
        if (toJournal_ && JournalWriter::write(record, text))
            return;
        const spdlog::details::log_msg message(spdlog::source_loc{source.c_str(), record.line, ""},
                                               "", libraryLevel(record.level), text);
        stderr_.log(message);
    }

    const std::string level_ = configuredLevel();
    const int lowestLevel_ = levelOf(level_);
    std::once_flag levelChecked_;
    StderrSink stderr_;
    const bool toJournal_ = JournalWriter::isStderrTheJournal();
};

Output& output() {
    // Never destroyed: other objects' destructors may log to the very end of the process.
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
