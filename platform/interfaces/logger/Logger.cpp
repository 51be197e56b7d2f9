// SPDX-License-Identifier: Apache-2.0
#include "Logger.h"

namespace logger {

Logger::Logger(int level, const char* file, int line)
    : level_(level), source_(sourceName(file)), line_(line) {}

Logger::~Logger() {
    write({level_, source_, line_, stream_.view()});
}

Logger& Logger::operator<<(const char* piece) {
    stream_ << piece;
    return *this;
}

Logger& Logger::operator<<(const std::string& piece) {
    return *this << std::string_view(piece);
}

Logger& Logger::operator<<(std::string_view piece) {
    stream_ << piece;
    return *this;
}

} // namespace logger
