// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/ReportDocument.h"

#include "Utils.h"
#include "Vocabulary.h"
#include "text/MaskedText.h"

#include <json/reader.h>
#include <json/writer.h>

#include <array>
#include <ctime>
#include <memory>
#include <utility>

namespace ovo {

namespace {

// Bytes, of all lists together. Room is kept for failures, so that the failure of the last file of
// a thousand is still there, and for the open levels without their lists.
constexpr std::size_t LEVELS = std::size_t{12} << 10U;
constexpr std::size_t FOR_FAILURES = std::size_t{16} << 10U;
constexpr std::size_t LIMIT = ReportDocument::LARGEST - LEVELS;
constexpr std::size_t BULK_LIMIT = LIMIT - FOR_FAILURES;

constexpr std::size_t LONGEST_URL = 1024;
constexpr std::size_t LONGEST_NAME = 256;
constexpr std::size_t LONGEST_CAUSE = 512;

constexpr char RUN[] = "run";
constexpr char CUT[] = "cut";
constexpr char CAUSE[] = "cause";
constexpr char REMARK[] = "remark";
constexpr char STATUS[] = "status";

/// A text of a file or about one, without credentials: any attribute may hold a URL.
std::string shown(const std::string& text, std::size_t longest) {
    return Utils::shortened(withMaskedPasswords(text), longest);
}

std::string textOf(const Json::Value& value) {
    static const Json::StreamWriterBuilder writer = [] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        builder["precisionType"] = "decimal";
        builder["precision"] = 3; // seconds
        return builder;
    }();
    return Json::writeString(writer, value);
}

/// As RFC 3339 has it, in UTC.
std::string format(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    std::array<char, 32> text{};
    if (::gmtime_r(&seconds, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
        return {};
    return text.data();
}

void setFirst(Json::Value& object, const std::string& cause) {
    if (Json::Value& text = object[CAUSE]; text.asString().empty())
        text = cause;
}

} // namespace

void ReportDocument::Level::open() {
    value = Json::Value(Json::objectValue);
    listed = 0;
    isOpen = true;
}

std::string ReportDocument::shownUrl(const std::string& url) {
    return shown(url, LONGEST_URL);
}

std::uint64_t ReportDocument::numberOf(const std::string& text) {
    Json::Value document;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    const bool isObject =
        reader->parse(text.data(), text.data() + text.size(), &document, nullptr) &&
        document.isObject();
    return isObject && document[RUN].isUInt64() ? document[RUN].asUInt64() : 0;
}

void ReportDocument::begin(std::uint64_t number, const std::string& url,
                           std::chrono::system_clock::time_point started) {
    for (Level* level : {&step, &job, &file})
        level->isOpen = false;
    isCut = false;
    run.open();
    run.value[RUN] = Json::UInt64{number};
    run.value["url"] = shownUrl(url);
    run.value["started"] = format(started);
    run.value["files"] = Json::Value(Json::arrayValue);
}

void ReportDocument::fileBegins(const std::string& url) {
    fileEnds(values::FAIL);
    file.open();
    file.value["url"] = shownUrl(url);
    file.value["httpStatus"] = 0;
    file.value["bytes"] = 0;
    file.value["jobs"] = Json::Value(Json::arrayValue);
}

void ReportDocument::fileFetched(int httpStatus, std::uint64_t bytes) {
    file.value["httpStatus"] = httpStatus;
    file.value["bytes"] = Json::UInt64{bytes};
}

void ReportDocument::fileEnds(const std::string& status) {
    jobEnds(values::FAIL);
    if (!file.isOpen)
        return;
    close(file, status, run, "files");
}

void ReportDocument::jobBegins(const std::string& element) {
    jobEnds(values::FAIL);
    job.open();
    job.value["element"] = shown(element, LONGEST_NAME);
}

void ReportDocument::jobIs(const std::string& handler) {
    job.value["job"] = handler;
}

void ReportDocument::jobEnds(const std::string& status) {
    stepEnds(values::FAIL);
    if (!job.isOpen)
        return;
    close(job, status, file, "jobs");
}

void ReportDocument::stepBegins() {
    stepEnds(values::FAIL);
    step.open();
    step.value["type"] = "";
}

void ReportDocument::stepIs(const std::string& type) {
    step.value["type"] = shown(type, LONGEST_NAME);
}

void ReportDocument::stepEnds(const std::string& status) {
    if (!step.isOpen)
        return;
    close(step, status, job, "steps");
}

void ReportDocument::requested(std::size_t count) {
    job.value["requested"] = Json::UInt64{count};
}

void ReportDocument::attempted(std::size_t count) {
    job.value["attempted"] = Json::UInt64{count};
}

void ReportDocument::applied(std::size_t count) {
    job.value["applied"] = Json::UInt64{count};
}

void ReportDocument::refused(const std::string& name, const std::string& why) {
    if (!job.isOpen || job.value.isMember(CUT))
        return; // without making the entry: there may be 100,000
    Json::Value entry;
    entry["name"] = shown(name, LONGEST_NAME);
    entry["why"] = shown(why, LONGEST_CAUSE);
    append(job, "refused", entry, BULK_LIMIT);
}

void ReportDocument::firmware(const std::string& installed, const std::string& offered,
                              const std::string& decision) {
    Json::Value& versions = job.value["firmware"];
    versions["installed"] = shown(installed, LONGEST_NAME);
    versions["offered"] = shown(offered, LONGEST_NAME);
    versions["decision"] = shown(decision, LONGEST_CAUSE);
}

void ReportDocument::failed(const std::string& cause) {
    const std::string text = shown(cause, LONGEST_CAUSE);
    for (Level* level : {&step, &job, &file})
        if (level->isOpen)
            setFirst(level->value, text);
}

void ReportDocument::remarked(const std::string& remark) {
    for (Level* level : {&step, &job, &file}) {
        if (!level->isOpen)
            continue;
        if (!level->value.isMember(REMARK))
            level->value[REMARK] = shown(remark, LONGEST_CAUSE);
        return;
    }
}

std::string ReportDocument::end(const std::string& result, int httpStatus, const std::string& cause,
                                std::chrono::duration<double> seconds) {
    fileEnds(values::FAIL);
    constexpr double MILLISECONDS = 1000;
    run.value["seconds"] =
        static_cast<double>(static_cast<std::int64_t>(seconds.count() * MILLISECONDS)) /
        MILLISECONDS;
    run.value["result"] = result;
    run.value["httpStatus"] = httpStatus;
    run.value[CAUSE] = shown(cause, 2 * LONGEST_CAUSE);
    if (isCut)
        run.value[CUT] = true;
    return textOf(run.value);
}

/// Puts an entry into a list of an open level, or notes that it is missing there.
void ReportDocument::append(Level& parent, const char* list, const Json::Value& entry,
                            std::size_t limit) {
    const std::size_t size = textOf(entry).size() + 1; // and a comma
    if (run.listed + file.listed + job.listed + size > limit) {
        parent.value[CUT] = true;
        return;
    }
    parent.value[list].append(entry);
    parent.listed += size;
}

/// A level that lists anything is listed itself, so that nothing is lost that had its place.
void ReportDocument::close(Level& level, const std::string& status, Level& parent,
                           const char* list) {
    const bool isFine = status == values::SUCCESS || status == values::NONE;
    level.value[STATUS] = status;
    setFirst(level.value, {});
    const bool hasPlace = std::exchange(level.listed, 0) > 0;
    level.isOpen = false;
    if (parent.isOpen)
        append(parent, list, level.value, hasPlace ? LARGEST : (isFine ? BULK_LIMIT : LIMIT));
}

} // namespace ovo
