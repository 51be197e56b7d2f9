// SPDX-License-Identifier: Apache-2.0
#include "ReportView.h"

#include "Vocabulary.h"
#include "ovoctl/Failure.h"
#include "text/Escape.h"

#include <json/reader.h>

#include <algorithm>
#include <cstddef>
#include <iomanip>
#include <memory>
#include <sstream>
#include <vector>

namespace ovoctl {

namespace {

/// A longer first column moves the other columns of its line.
constexpr std::size_t WIDEST = 60;

struct Row {
    std::string what;
    std::string result;
    std::string why;
};
using Rows = std::vector<Row>;

std::string textOf(const Json::Value& object, const char* member) {
    const Json::Value& value = object[member];
    return value.isConvertibleTo(Json::stringValue) ? escapeControls(value.asString())
                                                    : std::string();
}

void addCut(const Json::Value& object, const std::string& indent, Rows& rows) {
    if (object["cut"] == true)
        rows.push_back({indent + "... and more, which the report has no room for", {}, {}});
}

/// What is there of both.
std::string joined(const std::string& first, const char* separator, const std::string& second) {
    return first + (first.empty() || second.empty() ? "" : separator) + second;
}

/// why: it has its result.
std::string withRemark(const std::string& why, const Json::Value& object) {
    return joined(why, "; ", textOf(object, "remark"));
}

void addJob(const Json::Value& job, Rows& rows) {
    std::string why = textOf(job, "cause");
    if (job.isMember("requested")) {
        std::ostringstream counts;
        const std::string requested = textOf(job, "requested");
        counts << requested << (requested == "1" ? " parameter, " : " parameters, ")
               << (job.isMember("attempted") ? textOf(job, "attempted") : "0") << " attempted, "
               << (job.isMember("applied") ? textOf(job, "applied") : "0") << " changed";
        why = joined(counts.str(), ": ", why);
    }
    rows.push_back({"  " + textOf(job, "element") + " (" + textOf(job, "job") + ")",
                    textOf(job, "status"), withRemark(why, job)});
    for (const Json::Value& refused : job["refused"])
        rows.push_back({"    " + textOf(refused, "name"), "refused", textOf(refused, "why")});
    if (const Json::Value& firmware = job["firmware"]; firmware.isObject())
        rows.push_back({"    firmware " + textOf(firmware, "offered") +
                            (textOf(firmware, "installed").empty()
                                 ? std::string()
                                 : ", installed " + textOf(firmware, "installed")),
                        {},
                        textOf(firmware, "decision")});
    for (const Json::Value& step : job["steps"])
        rows.push_back({"    step " + textOf(step, "type"), textOf(step, "status"),
                        withRemark(textOf(step, "cause"), step)});
    addCut(job, "    ", rows);
}

void addFile(const Json::Value& file, Rows& rows) {
    std::string why = textOf(file, "cause");
    if (why.empty())
        why = "HTTP " + textOf(file, "httpStatus") + ", " + textOf(file, "bytes") + " bytes";
    rows.push_back({textOf(file, "url"), textOf(file, "status"), withRemark(why, file)});
    for (const Json::Value& job : file["jobs"])
        addJob(job, rows);
    addCut(file, "  ", rows);
}

} // namespace

Json::Value parseReport(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value report;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &report, &errors) ||
        !report.isObject() || !report["files"].isArray())
        throw Unaskable("the store's run report is not one");
    return report;
}

std::string summarizeReport(const Json::Value& report) {
    std::ostringstream line;
    line << "Run " << textOf(report, "run") << " of " << textOf(report, "url") << ": "
         << textOf(report, "result") << ", " << std::fixed << std::setprecision(1)
         << (report["seconds"].isNumeric() ? report["seconds"].asDouble() : 0) << " s, HTTP "
         << textOf(report, "httpStatus") << ", started " << textOf(report, "started");
    return line.str();
}

Outcome outcomeOf(const Json::Value& report) {
    return report["result"] == ovo::values::SUCCESS ? Outcome::FINE : Outcome::FINDING;
}

std::string describeReport(const Json::Value& report) {
    Rows rows;
    for (const Json::Value& file : report["files"])
        addFile(file, rows);
    addCut(report, "", rows);

    std::size_t whatWidth = 0;
    std::size_t resultWidth = 0;
    for (const Row& row : rows) {
        const bool isAlone = row.result.empty() && row.why.empty();
        if (!isAlone && row.what.size() <= WIDEST)
            whatWidth = std::max(whatWidth, row.what.size());
        resultWidth = std::max(resultWidth, row.result.size());
    }
    std::ostringstream text;
    text << summarizeReport(report) << '\n';
    if (const std::string cause = textOf(report, "cause"); !cause.empty())
        text << "First failure: " << cause << '\n';
    for (const Row& row : rows) {
        std::ostringstream line;
        line << std::left << std::setw(static_cast<int>(whatWidth)) << row.what << "  "
             << std::setw(static_cast<int>(resultWidth)) << row.result << "  " << row.why;
        std::string plain = line.str();
        plain.erase(plain.find_last_not_of(' ') + 1);
        text << plain << '\n';
    }
    return text.str();
}

} // namespace ovoctl
