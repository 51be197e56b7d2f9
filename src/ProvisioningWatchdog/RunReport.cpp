// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/RunReport.h"

#include "Utils.h"
#include "Vocabulary.h"
#include "common/WallClock.h"
#include "logger/Logger.h"

#include <algorithm>
#include <cstdint>
#include <ratio>
#include <utility>

namespace ovo {

namespace {

/// Number of files at which a loop is suspected; ten times as many for each further note.
constexpr std::size_t MANY_FILES = 100;
/// How many files are remembered to notice a repetition, and the longest URL of one.
constexpr std::size_t REMEMBERED_FILES = 1000;
constexpr std::size_t LONGEST_REMEMBERED = 2048;

/// Status of a step that no handler knows, which is not a failure.
constexpr char UNKNOWN[] = "unknown";

/// The cause of what the end of the process cuts short.
constexpr char ENDING[] = "the process is ending";

/// Bytes of the cause, which may quote a file; a line has to stay readable.
constexpr std::size_t LONGEST_CAUSE = 1024;

/// Of a file or a job: without a result a run has failed, but a job that only queues files has not.
std::string wordOf(ProvisioningStatus status) {
    return status == ProvisioningStatus::NotSet ? values::NONE : Utils::convertStatus(status);
}

} // namespace

RunReport::RunReport(std::unique_ptr<RunMonitor> runMonitor, IRunRecord* otherRecord)
    : monitor(std::move(runMonitor)), record(otherRecord) {}

/// A text that is not a URL is not shown: it may hold credentials anywhere.
std::string RunReport::addressOf(const std::string& url) {
    try {
        return withoutCredentials(http::UrlInfo(url)).getUrl();
    } catch (const std::exception&) {
        return "an invalid URL";
    }
}

void RunReport::continueAfter(const std::string& lastDocument) {
    number = ReportDocument::numberOf(lastDocument);
}

/// Notes something in the document, which lacks it where there is no memory, and in the other
/// record.
template <typename Work>
void RunReport::note(Work work) noexcept {
    try {
        work(static_cast<IRunRecord&>(parts));
        if (record != nullptr)
            work(*record);
    } catch (const std::exception&) {
        parts.omit();
    }
}

void RunReport::begin(const std::string& url) noexcept {
    started = Clock::now();
    currentFile.clear();
    recentFiles.clear();
    files = 0;
    nextNotedFiles = MANY_FILES;
    jobs = 0;
    requested = 0;
    applied = 0;
    refused = 0;
    suspicion.clear();
    cause.clear();
    address.clear();
    try {
        address = addressOf(url);
    } catch (const std::exception&) {
        // Out of memory: the run continues, and its line names no address.
    }
    text.clear();
    ++number;
    try {
        parts.begin(number, address, common::WallClock::now());
    } catch (const std::exception&) {
        parts.omit();
    }
}

void RunReport::fileBegins(const http::UrlInfo& url) {
    currentFile = withoutCredentials(url).getUrl();
    suspicion.clear();
    runner = std::this_thread::get_id();
    position = {};
    position.file = currentFile;
    show();
    note([&](IRunRecord& to) { to.fileBegins(currentFile); });
    noteRepetition();
    if (++files != nextNotedFiles)
        return;
    LOG(2) << files << " files in this run, most likely a loop: " << currentFile;
    nextNotedFiles *= 10;
}

void RunReport::fileFetched(int httpStatus, std::uint64_t bytes) noexcept {
    note([&](IRunRecord& to) { to.fileFetched(httpStatus, bytes); });
}

void RunReport::fileEnds(ProvisioningStatus status) noexcept {
    note([&](IRunRecord& to) { to.fileEnds(wordOf(status)); });
}

void RunReport::jobBegins(const std::string& element) {
    ++jobs;
    position.element = element;
    position.bytes = position.total = 0;
    note([&](IRunRecord& to) { to.jobBegins(element); });
}

void RunReport::jobIs(const std::string& handler) noexcept {
    note([&](IRunRecord& to) { to.jobIs(handler); });
    try {
        position.job = handler;
        show();
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): who watches misses it
    }
}

void RunReport::jobEnds(ProvisioningStatus status) noexcept {
    note([&](IRunRecord& to) { to.jobEnds(wordOf(status)); });
}

void RunReport::stepBegins() noexcept {
    note([](IRunRecord& to) { to.stepBegins(); });
}

void RunReport::stepIs(const std::string& type) noexcept {
    note([&](IRunRecord& to) { to.stepIs(type); });
}

void RunReport::stepEnds(bool succeeded) noexcept {
    note([&](IRunRecord& to) { to.stepEnds(succeeded ? values::SUCCESS : values::FAIL); });
}

void RunReport::stepIsUnknown() noexcept {
    note([](IRunRecord& to) { to.stepEnds(UNKNOWN); });
}

void RunReport::parametersRequested(std::size_t count) noexcept {
    requested += count;
    note([&](IRunRecord& to) { to.requested(count); });
}

void RunReport::parametersAttempted(std::size_t count) noexcept {
    note([&](IRunRecord& to) { to.attempted(count); });
}

void RunReport::parametersApplied(std::size_t count) noexcept {
    applied += count;
    note([&](IRunRecord& to) { to.applied(count); });
}

void RunReport::parameterRefused(std::string_view name, const std::string& why) noexcept {
    ++refused;
    note([&](IRunRecord& to) { to.refused(std::string(name), why); });
}

void RunReport::firmware(const std::string& installed, const std::string& offered,
                         const std::string& decision) noexcept {
    note([&](IRunRecord& to) { to.firmware(installed, offered, decision); });
}

void RunReport::progress(std::int64_t bytes, std::int64_t total) {
    if (runner.load() != std::this_thread::get_id())
        return;
    position.bytes = bytes;
    position.total = total;
    show();
}

void RunReport::show() {
    if (monitor && monitor->isDue())
        monitor->publish(position);
}

/// The log names a file once, the document at each repetition.
void RunReport::noteRepetition() {
    const auto known =
        std::find_if(recentFiles.begin(), recentFiles.end(),
                     [&](const RecentFile& file) { return file.url == currentFile; });
    if (known != recentFiles.end()) {
        remark("asked for before in this run");
        if (!std::exchange(known->isRepeated, true))
            LOG(2) << "File asked for before in this run: " << currentFile;
        return;
    }
    if (currentFile.size() > LONGEST_REMEMBERED)
        return;
    recentFiles.push_back({currentFile});
    if (recentFiles.size() > REMEMBERED_FILES)
        recentFiles.pop_front();
}

void RunReport::failed(const std::string& what) noexcept {
    if (cancelled) {
        note([](IRunRecord& to) { to.failed(ENDING); });
        return;
    }
    note([&](IRunRecord& to) {
        to.failed(suspicion.empty() ? what : suspicion + "; then " + what);
    });
    if (!cause.empty())
        return;
    try {
        cause = describe(what);
    } catch (const std::exception&) {
        // Out of memory: the line of the run names no cause.
    }
}

void RunReport::remark(const std::string& what) noexcept {
    note([&](IRunRecord& to) { to.remarked(what); });
}

std::string RunReport::describe(const std::string& what) const {
    std::string prefix;
    if (!currentFile.empty() && currentFile != address)
        prefix = Utils::shortened(currentFile, LONGEST_REMEMBERED) + ": ";
    if (!suspicion.empty())
        prefix += suspicion + "; then ";
    return prefix + Utils::shortened(what, LONGEST_CAUSE);
}

void RunReport::end(ProvisioningStatus status, int httpStatus) noexcept {
    try {
        const std::chrono::duration<double> seconds = Clock::now() - started;
        const auto tenths =
            std::chrono::round<std::chrono::duration<std::int64_t, std::deci>>(seconds).count();
        const std::string word = Utils::convertStatus(status);
        const std::string why = causeOf(status);
        LOG(2) << "Run of " << address << ": " << word << ", files " << files << ", jobs " << jobs
               << ", parameters requested " << requested << " applied " << applied << " refused "
               << refused << ", " << tenths / 10 << "." << tenths % 10 << " s"
               << (why.empty() ? "" : ", first failure: ") << why;
        // Without a file it is that of an earlier run.
        text = parts.end(word, files == 0 ? 0 : httpStatus, why, seconds);
    } catch (const std::exception& exception) {
        LOG(3) << "The line of the run cannot be written: " << exception.what();
    }
    runner = std::thread::id();
}

/// In words; empty on success.
std::string RunReport::causeOf(ProvisioningStatus status) const {
    if (status == ProvisioningStatus::Success)
        return {};
    if (!cause.empty())
        return cause;
    return cancelled ? ENDING : "no job reported a result";
}

} // namespace ovo
