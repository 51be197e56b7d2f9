// SPDX-License-Identifier: Apache-2.0
// What scripts/bench runs: measures the daemon beside it, and makes tables, plots and a comparison
// of the figures.

#include "figures/Comparison.h"
#include "figures/FigureSet.h"
#include "figures/PerformancePage.h"
#include "figures/Plots.h"
#include "rows/Row.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using namespace bench;

constexpr int WORSE = 1;
constexpr int USAGE = 2;
constexpr int NOT_MEASURED = 3;

constexpr Row ROWS[] = {
    {"runs", measureRuns},
    {"instructions", measureInstructions},
    {"large-store", measureLargeStore},
    {"unchanged", measureUnchanged},
    {"shell", measureShell},
    {"flushes", measureFlushes},
    {"request", measureRequest},
    {"change", measureChange},
    {"memory", measureIdleMemory},
    {"peaks", measurePeaks},
    {"firmware", measureFirmware},
    {"idle", measureIdle},
    {"start", measureStart},
    {"scheduler", measureScheduler},
};

int usage(const char* program) {
    std::fprintf(stderr,
                 "usage: %s rows\n"
                 "       %s measure FIGURES ROUNDS full|quick [ROW...]\n"
                 "       %s print FIGURES\n"
                 "       %s render FIGURES DIRECTORY\n"
                 "       %s compare FIGURES-BEFORE FIGURES\n",
                 program, program, program, program, program);
    return USAGE;
}

std::string load() {
    std::ifstream file("/proc/loadavg");
    std::string average;
    file >> average;
    return average;
}

std::string today() {
    const std::time_t now = std::time(nullptr);
    std::tm date{};
    ::gmtime_r(&now, &date);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d", &date);
    return text.data();
}

bool isWanted(const std::vector<std::string>& names, const char* name) {
    return names.empty() || std::find(names.begin(), names.end(), name) != names.end();
}

bool areRows(const std::vector<std::string>& names) {
    return std::all_of(names.begin(), names.end(), [](const std::string& name) {
        return std::any_of(std::begin(ROWS), std::end(ROWS),
                           [&](const Row& row) { return name == row.name; });
    });
}

int measure(const std::string& file, const Settings& settings,
            const std::vector<std::string>& names) {
    FigureSet set{VERSION, today(), settings.rounds, "", {}};
    const std::string before = load();
    try {
        for (const Row& row : ROWS) {
            if (!isWanted(names, row.name))
                continue;
            std::fprintf(stderr, "measuring: %s\n", row.name);
            for (Figure& figure : row.measure(settings))
                set.figures.push_back(std::move(figure));
        }
        set.machine = std::to_string(std::thread::hardware_concurrency()) +
                      " processors, warmed up before each time; load before " + before;
        saveFigures(file, set);
        return 0;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "cannot measure: %s\n", exception.what());
        return NOT_MEASURED;
    }
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream content;
    if (!(content << file.rdbuf()))
        throw std::runtime_error("cannot read " + path);
    return content.str();
}

void write(const std::string& path, const std::string& content) {
    std::ofstream file(path);
    file << content;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

int render(const std::string& figures, const std::string& directory) {
    const FigureSet set = loadFigures(figures);
    const std::string page = directory + "/performance.md";
    write(page, pageWith(contentOf(page), set));
    write(directory + "/performance-time.svg", timePlot(set));
    write(directory + "/performance-goals.svg", goalsPlot(set));
    return 0;
}

int compare(const std::string& before, const std::string& now) {
    const std::vector<std::string> sentences = regressions(loadFigures(before), loadFigures(now));
    for (const std::string& sentence : sentences)
        std::printf("worse: %s\n", sentence.c_str());
    return sentences.empty() ? 0 : WORSE;
}

int listRows() {
    for (const Row& row : ROWS)
        std::printf("%s\n", row.name);
    return 0;
}

int print(const std::string& figures) {
    std::printf("%s", tableOf(loadFigures(figures)).c_str());
    return 0;
}

int measureCommand(const std::vector<std::string>& words, const char* program) {
    const std::vector<std::string> names(words.begin() + 4, words.end());
    Settings settings;
    settings.rounds = static_cast<int>(std::strtol(words[2].c_str(), nullptr, 10));
    settings.isQuick = words[3] == "quick";
    if (settings.rounds < 1 || (words[3] != "full" && !settings.isQuick) || !areRows(names))
        return usage(program);
    return measure(words[1], settings, names);
}

int runCommand(const std::vector<std::string>& words, const char* program) {
    const std::string command = words.empty() ? "" : words[0];
    if (command == "measure" && words.size() >= 4)
        return measureCommand(words, program);
    if (command == "rows" && words.size() == 1)
        return listRows();
    if (command == "print" && words.size() == 2)
        return print(words[1]);
    if (command == "render" && words.size() == 3)
        return render(words[1], words[2]);
    if (command == "compare" && words.size() == 3)
        return compare(words[1], words[2]);
    return usage(program);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return runCommand(std::vector<std::string>(argv + 1, argv + argc), argv[0]);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s: %s\n", argv[0], exception.what());
        return NOT_MEASURED;
    }
}
