// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <string>
#include <string_view>

namespace logger {

/// Level of a log line. Lines below the configured level are not written.
enum DBG_LEVEL : int {
    PROGRESS = 1, ///< routine progress
    NOTABLE = 2,  ///< a notable condition: a skipped element, an unknown type, a missing directory
    FAILURE = 3   ///< a failure, usually an exception's text
};

/// One finished log line.
struct Record {
    int level;
    std::string_view source; ///< name of the source file without directory and suffix
    int line;
    std::string_view text;
};

/// Writes one line. Supplied by the program that is linked: the platform's logger in the daemon and
/// the tools, a recorder in tests. Callable from every thread at any time; lines of several threads
/// never mix. Never throws; a line that cannot be written is lost.
void write(const Record& record) noexcept;

/// True when lines of this level are written at all; lets callers skip expensive texts.
bool isEnabled(int level) noexcept;

/// "src/Utils.cpp" -> "Utils".
constexpr std::string_view sourceName(std::string_view path) {
    if (const auto slash = path.rfind('/'); slash != std::string_view::npos)
        path.remove_prefix(slash + 1);
    return path.substr(0, path.find('.'));
}

/// One log statement, built from stream-style pieces and written as one line when it goes out of
/// scope. Use it through LOG(level). There are hundreds of statements, so what each of them does is
/// a call, nothing of it is inline, and nothing throws: a piece that there is no memory for is left
/// out.
class Logger {
public:
    /// file: as __FILE__ has it.
    Logger(int level, const char* file, int line) noexcept;
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    Logger& operator<<(const char* piece) noexcept;
    Logger& operator<<(const std::string& piece) noexcept;
    Logger& operator<<(std::string_view piece) noexcept;
    Logger& operator<<(char piece) noexcept;
    template <std::signed_integral Number>
    Logger& operator<<(Number number) noexcept {
        return addSigned(number);
    }
    template <std::unsigned_integral Number>
    Logger& operator<<(Number number) noexcept {
        return addUnsigned(number);
    }

private:
    Logger& addSigned(long long number) noexcept;
    Logger& addUnsigned(unsigned long long number) noexcept;

    int level_;
    int line_;
    const char* file_;
    std::string text_;
};

} // namespace logger

/// LOG(1) << "Setting timer";
#define LOG(level)                                                                                 \
    for (bool logThisLine = ::logger::isEnabled(level); logThisLine; logThisLine = false)          \
    ::logger::Logger(level, __FILE__, __LINE__)
