// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "figures/FigureText.h"
#include "phone/BenchPhone.h"
#include "phone/MemoryPeak.h"
#include "phone/ParameterFile.h"
#include "xml/Xml.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace bench {

namespace {

constexpr char BEGIN[] = "<settings version=\"1.1\">";
constexpr char END[] = "</settings>";
/// The root and its attribute count, too.
constexpr std::size_t UNITS = common::xml::MAX_ELEMENTS_AND_ATTRIBUTES - 2;

/// Elements that take so many units each, as many as are allowed; each is made of its number.
std::string fileOf(std::size_t unitsEach,
                   const std::function<std::string(const std::string& number)>& element) {
    std::string file = BEGIN;
    for (std::size_t number = 0; number < UNITS / unitsEach; ++number)
        file += element(std::to_string(number));
    return file + END;
}

/// Filled up to the largest size by the values.
std::string longParameters() {
    constexpr std::size_t COUNT = UNITS / 3;
    constexpr std::size_t ROOM = common::xml::MAX_BYTES / COUNT;
    return fileOf(3, [](const std::string& number) {
        std::string text = "<param name=\"Directory.Entry." + number + ".Number\" value=\"";
        text.append(ROOM - text.size() - std::strlen("\"/>") - 1, 'x');
        return text + "\"/>";
    });
}

struct Kind {
    const char* id;
    const char* name;
    std::function<std::string()> content;
    bool succeeds;
};

const Kind KINDS[] = {
    {"largest-16-mib", "parameters, 16 MiB", longParameters, true},
    {"largest-short", "parameters with short values",
     [] {
         return fileOf(3, [](const std::string& number) {
             return "<param name=\"A." + number + "\" value=\"1\"/>";
         });
     },
     true},
    {"largest-attributes", "elements with one attribute",
     [] { return fileOf(2, [](const std::string&) { return std::string("<p name=\"A\"/>"); }); },
     false},
    {"largest-elements", "elements without attributes",
     [] { return fileOf(1, [](const std::string&) { return std::string("<p/>"); }); }, false},
};

double peakOf(BenchPhone& phone, const std::string& url, bool succeeds) {
    phone.startDaemon();
    const MemoryPeak peak(phone.daemon());
    phone.run(url, succeeds);
    const double megabytes = peak.megabytes();
    phone.stopDaemon();
    return megabytes;
}

} // namespace

std::vector<Figure> measurePeaks(const Settings& settings) {
    const int count = settings.isQuick ? 10000 : 100000;
    BenchPhone phone;
    phone.publishParameters(count);
    phone.startReference();
    Samples ours;
    Samples reference;
    for (int round = 0; round < (settings.isQuick ? 1 : 3); ++round) {
        const std::string url = phone.parameters(count, round, false);
        ours.push_back(peakOf(phone, url, true));
        const MemoryPeak peak(phone.reference());
        phone.referenceRun(url);
        reference.push_back(peak.megabytes());
    }
    Figure figure = plainFigure("peak-" + std::to_string(count),
                                "peak of private memory, " + grouped(count) + " parameters",
                                rangeOf(ours), "MB", 35);
    figure.unit = "MB";
    figure.ours = rangeOf(ours);
    figure.reference = rangeOf(reference);
    figure.note = "private pages (RssAnon) sampled each millisecond";
    std::vector<Figure> figures{figure};
    for (const Kind& kind : KINDS) {
        phone.server().publish("/largest.xml", encrypted(kind.content()));
        const double peak = peakOf(phone, phone.server().url("/largest.xml"), kind.succeeds);
        figures.push_back(plainFigure(kind.id,
                                      std::string("peak, largest allowed file: ") + kind.name,
                                      exactly(peak), "MB", 100));
    }
    return figures;
}

} // namespace bench
