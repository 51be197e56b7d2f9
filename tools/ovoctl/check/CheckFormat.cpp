// SPDX-License-Identifier: Apache-2.0
#include "CheckFormat.h"

#include "ovoctl/support/JsonLine.h"
#include "text/Escape.h"

#include <iomanip>

namespace ovoctl::check {

namespace {

Json::Value numberOf(std::size_t number) {
    return Json::UInt64{number};
}

Json::Value textOf(std::string_view text) {
    return Json::Value(std::string(text));
}

Json::Value sarifResult(const std::string& file, const Finding& finding) {
    Json::Value region;
    region["startLine"] = numberOf(finding.place.line);
    region["startColumn"] = numberOf(finding.place.column);
    Json::Value place;
    place["artifactLocation"]["uri"] = escapeControls(file);
    place["region"] = region;
    Json::Value location;
    location["physicalLocation"] = place;
    Json::Value result;
    result["ruleId"] = textOf(finding.rule->name);
    result["level"] = textOf(nameOf(finding.rule->level));
    result["message"]["text"] = escapeControls(finding.sentence);
    result["locations"].append(location);
    return result;
}

} // namespace

void writeText(std::ostream& output, const std::vector<FileResult>& results) {
    for (const FileResult& file : results)
        for (const Finding& finding : file.findings)
            output << escapeControls(file.name) << ":" << finding.place.line << ":"
                   << finding.place.column << ": " << nameOf(finding.rule->level) << ": "
                   << finding.rule->name << ": " << escapeControls(finding.sentence) << "\n";
}

void writeJson(std::ostream& output, const std::vector<FileResult>& results) {
    for (const FileResult& file : results)
        for (const Finding& finding : file.findings) {
            Json::Value object;
            object["file"] = escapeControls(file.name);
            object["line"] = numberOf(finding.place.line);
            object["column"] = numberOf(finding.place.column);
            object["level"] = textOf(nameOf(finding.rule->level));
            object["rule"] = textOf(finding.rule->name);
            object["sentence"] = escapeControls(finding.sentence);
            output << jsonLine(object);
        }
}

void writeSarif(std::ostream& output, const std::vector<FileResult>& results) {
    Json::Value driver;
    driver["name"] = "ovoctl check";
    driver["rules"] = Json::Value(Json::arrayValue);
    for (const Rule* rule : rules::ALL) {
        Json::Value entry;
        entry["id"] = textOf(rule->name);
        entry["shortDescription"]["text"] = textOf(rule->sentence);
        entry["defaultConfiguration"]["level"] = textOf(nameOf(rule->level));
        driver["rules"].append(entry);
    }
    Json::Value run;
    run["tool"]["driver"] = driver;
    run["columnKind"] = "unicodeCodePoints";
    run["results"] = Json::Value(Json::arrayValue);
    for (const FileResult& file : results)
        for (const Finding& finding : file.findings)
            run["results"].append(sarifResult(file.name, finding));
    Json::Value document;
    document["$schema"] = "https://json.schemastore.org/sarif-2.1.0.json";
    document["version"] = "2.1.0";
    document["runs"].append(run);
    output << jsonLine(document);
}

void writeRules(std::ostream& output, bool isJson) {
    constexpr int NAME_WIDTH = 20;
    constexpr int LEVEL_WIDTH = 9;
    for (const Rule* rule : rules::ALL) {
        if (!isJson) {
            output << std::left << std::setw(NAME_WIDTH) << rule->name << std::setw(LEVEL_WIDTH)
                   << nameOf(rule->level) << rule->sentence << "\n";
            continue;
        }
        Json::Value object;
        object["rule"] = textOf(rule->name);
        object["level"] = textOf(nameOf(rule->level));
        object["sentence"] = textOf(rule->sentence);
        output << jsonLine(object);
    }
}

} // namespace ovoctl::check
