#include "LogRecorder.h"

#include "logger/Logger.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace {

struct Log {
    std::mutex mutex;
    std::condition_variable written;
    bool recording = false;
    std::vector<LogRecorder::Line> lines;
};

Log& theLog() {
    static Log log;
    return log;
}

std::size_t countLines(const Log& log, int level, const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(log.lines.begin(), log.lines.end(), [&](const LogRecorder::Line& line) {
            return line.level == level && line.text == text;
        }));
}

} // namespace

namespace logger {

void write(const Record& record) noexcept {
    Log& log = theLog();
    const std::lock_guard lock(log.mutex);
    static const bool echo = std::getenv("TEST_LOG") != nullptr;
    if (echo)
        std::fprintf(stderr, "%d %.*s:%d %.*s\n", record.level,
                     static_cast<int>(record.source.size()), record.source.data(), record.line,
                     static_cast<int>(record.text.size()), record.text.data());
    if (!log.recording)
        return;
    log.lines.push_back(
        {record.level, std::string(record.source), record.line, std::string(record.text)});
    log.written.notify_all();
}

bool isEnabled(int) noexcept {
    return true;
}

} // namespace logger

LogRecorder::LogRecorder() {
    const std::lock_guard lock(theLog().mutex);
    theLog().recording = true;
    theLog().lines.clear();
}

LogRecorder::~LogRecorder() {
    const std::lock_guard lock(theLog().mutex);
    theLog().recording = false;
    theLog().lines.clear();
}

std::vector<LogRecorder::Line> LogRecorder::lines() const {
    const std::lock_guard lock(theLog().mutex);
    return theLog().lines;
}

std::size_t LogRecorder::size() const {
    const std::lock_guard lock(theLog().mutex);
    return theLog().lines.size();
}

std::vector<std::string> LogRecorder::texts() const {
    std::vector<std::string> result;
    for (const Line& line : lines())
        result.push_back(std::to_string(line.level) + " " + line.source + ": " + line.text);
    return result;
}

std::size_t LogRecorder::count(int level, const std::string& text) const {
    const std::lock_guard lock(theLog().mutex);
    return countLines(theLog(), level, text);
}

bool LogRecorder::has(int level, const std::string& text) const {
    return count(level, text) > 0;
}

bool LogRecorder::mentions(const std::string& part) const {
    const std::vector<Line> all = lines();
    return std::any_of(all.begin(), all.end(),
                       [&](const Line& line) { return line.text.find(part) != std::string::npos; });
}

bool LogRecorder::waitFor(int level, const std::string& text,
                          std::chrono::milliseconds timeout) const {
    Log& log = theLog();
    std::unique_lock lock(log.mutex);
    return log.written.wait_for(lock, timeout, [&] { return countLines(log, level, text) > 0; });
}

void LogRecorder::clear() {
    const std::lock_guard lock(theLog().mutex);
    theLog().lines.clear();
}
