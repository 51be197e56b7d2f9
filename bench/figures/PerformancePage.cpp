// SPDX-License-Identifier: Apache-2.0
#include "PerformancePage.h"

#include "FigureText.h"

#include <stdexcept>

namespace bench {

namespace {

constexpr char BEGIN[] = "<!-- scripts/bench writes from here -->\n";
constexpr char END[] = "<!-- scripts/bench writes to here -->\n";

std::string cellOf(const std::optional<Range>& range, const std::string& unit) {
    return range ? withUnit(range->median, unit) : std::string();
}

std::string verdictOf(const Figure& figure) {
    if (!figure.goal)
        return "";
    return figure.isReached() ? "yes" : "**no**";
}

std::string rowOf(const Figure& figure) {
    return "| " + figure.title + " | " + cellOf(figure.ours, figure.unit) + " | " +
           cellOf(figure.reference, figure.unit) + " | " +
           withRange(figure.value, figure.valueUnit) + " | " +
           (figure.goal ? withUnit(*figure.goal, figure.valueUnit) : std::string()) + " | " +
           verdictOf(figure) + " |\n";
}

std::string notesOf(const FigureSet& set) {
    std::string notes;
    for (const Figure& figure : set.figures)
        if (!figure.note.empty())
            notes += "- " + figure.title + ": " + figure.note + "\n";
    return notes;
}

} // namespace

std::string tableOf(const FigureSet& set) {
    std::string table = "| Figure | Ours | Reference | Value | Goal | Reached |\n"
                        "|---|---|---|---|---|---|\n";
    for (const Figure& figure : set.figures)
        table += rowOf(figure);
    return table;
}

std::string pageWith(const std::string& page, const FigureSet& set) {
    const auto begin = page.find(BEGIN);
    const auto end = page.find(END);
    if (begin == std::string::npos || end == std::string::npos || end < begin)
        throw std::runtime_error("the page lacks the comments around what is written");
    const std::string generated =
        "Version " + set.version + ", " + set.date + ", " + std::to_string(set.rounds) +
        " rounds; " + set.machine + ".\n\n" + tableOf(set) + "\n" + notesOf(set) +
        "\n![Time of a run by the number of parameters](performance-time.svg)\n"
        "\n![Figures in parts of their goals](performance-goals.svg)\n";
    return page.substr(0, begin) + BEGIN + generated + page.substr(end);
}

} // namespace bench
