// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/RunReport.h"

#include "Utils.h"
#include "logger/Logger.h"

#include <algorithm>
#include <iomanip>
#include <utility>

namespace ovo {

namespace {

/// Number of files at which a loop is suspected; ten times as many for each further note.
constexpr std::size_t MANY_FILES = 100;
/// How many files are remembered to notice a repetition, and the longest URL of one.
constexpr std::size_t REMEMBERED_FILES = 1000;
constexpr std::size_t LONGEST_REMEMBERED = 2048;

/// Bytes of the cause, which may quote a file; a line has to stay readable.
constexpr std::size_t LONGEST_CAUSE = 1024;

/// A text that is not a URL is not shown: it may hold credentials anywhere.
std::string addressOf(const std::string& url) {
    try {
        return withoutCredentials(http::UrlInfo(url)).getUrl();
    } catch (const std::exception&) {
        return "an invalid URL";
    }
}

} // namespace

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
}

void RunReport::fileBegins(const http::UrlInfo& url) {
    currentFile = withoutCredentials(url).getUrl();
    suspicion.clear();
    if (isRepeatedNow(currentFile))
        LOG(2) << "File asked for before in this run: " << currentFile;
    if (++files != nextNotedFiles)
        return;
    LOG(2) << files << " files in this run, most likely a loop: " << currentFile;
    nextNotedFiles *= 10;
}

/// True for the first repetition of a file.
bool RunReport::isRepeatedNow(const std::string& url) {
    const auto known = std::find_if(recentFiles.begin(), recentFiles.end(),
                                    [&](const RecentFile& file) { return file.url == url; });
    if (known != recentFiles.end())
        return !std::exchange(known->isRepeated, true);
    if (url.size() > LONGEST_REMEMBERED)
        return false;
    recentFiles.push_back({url});
    if (recentFiles.size() > REMEMBERED_FILES)
        recentFiles.pop_front();
    return false;
}

void RunReport::failed(const std::string& what) noexcept {
    if (!cause.empty() || cancelled)
        return;
    try {
        cause = describe(what);
    } catch (const std::exception&) {
        // Out of memory: the line of the run names no cause.
    }
}

std::string RunReport::describe(const std::string& what) const {
    std::string text;
    if (!currentFile.empty() && currentFile != address)
        text = Utils::shortened(currentFile, LONGEST_REMEMBERED) + ": ";
    if (!suspicion.empty())
        text += suspicion + "; then ";
    return text + Utils::shortened(what, LONGEST_CAUSE);
}

void RunReport::end(ProvisioningStatus status) const noexcept {
    try {
        writeLine(status);
    } catch (const std::exception& exception) {
        LOG(3) << "The line of the run cannot be written: " << exception.what();
    }
}

void RunReport::writeLine(ProvisioningStatus status) const {
    const std::chrono::duration<double> seconds = Clock::now() - started;
    const char* unnamed = cancelled ? "the process is ending" : "no job reported a result";
    const std::string why = cause.empty() ? unnamed : cause;
    LOG(2) << "Run of " << address << ": " << Utils::convertStatus(status) << ", files " << files
           << ", jobs " << jobs << ", parameters requested " << requested << " applied " << applied
           << " refused " << refused << ", " << std::fixed << std::setprecision(1)
           << seconds.count() << " s"
           << (status == ProvisioningStatus::Success ? "" : ", first failure: " + why);
}

} // namespace ovo
