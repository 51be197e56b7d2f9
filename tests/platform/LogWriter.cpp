// SPDX-License-Identifier: Apache-2.0
// Writes log lines through the real logger, as its arguments say:
//   line LEVEL TEXT       one statement
//   input                 each line of the input as one statement, "ok" on the output after each
//   threads COUNT LINES   so many lines from each of so many threads
//   levels                whether levels 0 to 4 are enabled, as digits
//   journal STREAM        the three levels, with that as JOURNAL_STREAM; "own": that of stderr
//   at-exit               one statement from a destructor at the end of the process

#include "logger/Logger.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

int number(const std::string& text) {
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

void line(const Arguments& arguments) {
    LOG(number(arguments.at(1))) << arguments.at(2);
}

void input(const Arguments& /*arguments*/) {
    for (std::string text; std::getline(std::cin, text);) {
        LOG(1) << text;
        std::cout << "ok" << std::endl;
    }
}

void threads(const Arguments& arguments) {
    const int count = number(arguments.at(1));
    std::vector<std::jthread> all;
    all.reserve(static_cast<std::size_t>(count));
    for (int thread = 0; thread < count; ++thread)
        all.emplace_back([thread, lines = number(arguments.at(2))] {
            for (int each = 0; each < lines; ++each)
                LOG(2) << "thread " << thread << " line " << each << ' ' << std::string(200, 'x')
                       << " end";
        });
}

void levels(const Arguments& /*arguments*/) {
    for (int level = 0; level <= 4; ++level)
        std::cout << (logger::isEnabled(level) ? '1' : '0');
}

void journal(const Arguments& arguments) {
    std::string stream = arguments.at(1);
    struct stat status {};
    if (stream == "own" && ::fstat(STDERR_FILENO, &status) == 0)
        stream = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    ::setenv("JOURNAL_STREAM", stream.c_str(), 1);
    for (const int level : {1, 2, 3})
        LOG(level) << "level " << level;
}

struct LateLogger {
    LateLogger() = default;
    ~LateLogger() { LOG(3) << "late"; }
    LateLogger(const LateLogger&) = delete;
    LateLogger& operator=(const LateLogger&) = delete;
};

void atExit(const Arguments& /*arguments*/) {
    static const LateLogger late; // made before the logger's own state
    LOG(1) << "early";
}

} // namespace

int main(int argc, char** argv) {
    const std::map<std::string, std::function<void(const Arguments&)>> actions{
        {"line", line},     {"input", input},     {"threads", threads},
        {"levels", levels}, {"journal", journal}, {"at-exit", atExit},
    };
    const Arguments arguments(argv + 1, argv + argc);
    actions.at(arguments.at(0))(arguments);
    return 0;
}
