// SPDX-License-Identifier: Apache-2.0
#include "ProgressLine.h"

#include "Utils.h"
#include "text/Escape.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <iostream>

namespace ovoctl {

namespace {

constexpr std::int64_t BAR = 20;         ///< characters
constexpr std::size_t LONGEST_NAME = 50; ///< so that a line fits into 80 columns

std::string textOf(const Json::Value& object, const char* member) {
    return object[member].isString() ? escapeControls(object[member].asString()) : std::string();
}

std::int64_t numberOf(const Json::Value& object, const char* member) {
    return object[member].isInt64() ? object[member].asInt64() : 0;
}

std::string barOf(std::int64_t bytes, std::int64_t total) {
    if (total <= 0)
        return bytes > 0 ? std::to_string(bytes) + " bytes" : std::string();
    const auto filled = static_cast<std::size_t>(
        std::clamp<std::int64_t>(bytes / ((total + BAR - 1) / BAR), 0, BAR));
    return "[" + std::string(filled, '#') + std::string(BAR - filled, '-') + "]";
}

std::string lastPart(const std::string& url) {
    return ovo::Utils::shortened(url.substr(url.rfind('/') + 1), LONGEST_NAME);
}

} // namespace

ProgressLine::Form ProgressLine::usualForm() {
    return ::isatty(STDERR_FILENO) == 1 ? Form::BAR : Form::LINES;
}

ProgressLine::~ProgressLine() {
    clear();
}

void ProgressLine::clear() {
    if (form_ == Form::BAR && !shown_.empty())
        std::cerr << "\r\x1b[K" << std::flush;
    shown_.clear();
}

void ProgressLine::show(const Json::Value& progress) {
    const std::string file = textOf(progress, "file");
    const std::string job = textOf(progress, "job");
    const bool isBar = form_ == Form::BAR;
    std::string line = (isBar ? lastPart(file) : file) + (job.empty() ? "" : ": " + job);
    if (isBar) {
        shown_ = line;
        std::cerr << "\r\x1b[K" << line << " "
                  << barOf(numberOf(progress, "bytes"), numberOf(progress, "total")) << std::flush;
    } else if (line != shown_) {
        shown_ = line;
        std::cerr << line << "\n";
    }
}

} // namespace ovoctl
