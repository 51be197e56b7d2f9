// SPDX-License-Identifier: Apache-2.0
#include "Logger.h"

#include <new>

namespace logger {

Logger::Logger(int level, const char* file, int line) noexcept
    : level_(level), line_(line), file_(file) {}

Logger::~Logger() {
    write({level_, sourceName(file_), line_, text_});
}

Logger& Logger::operator<<(const char* piece) noexcept {
    return *this << std::string_view(piece);
}

Logger& Logger::operator<<(const std::string& piece) noexcept {
    return *this << std::string_view(piece);
}

Logger& Logger::operator<<(std::string_view piece) noexcept {
    try {
        text_.append(piece);
    } catch (const std::bad_alloc&) {
        // The rest of the line may still find its place.
    }
    return *this;
}

Logger& Logger::operator<<(char piece) noexcept {
    return *this << std::string_view(&piece, 1);
}

// The digits of a number are few enough for a std::string without memory of its own.
Logger& Logger::addSigned(long long number) noexcept {
    return *this << std::to_string(number);
}

Logger& Logger::addUnsigned(unsigned long long number) noexcept {
    return *this << std::to_string(number);
}

} // namespace logger
