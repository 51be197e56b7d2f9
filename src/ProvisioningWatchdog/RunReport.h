// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningStatus.h"
#include "ProvisioningWatchdog/IRunRecord.h"
#include "ProvisioningWatchdog/ReportDocument.h"
#include "ProvisioningWatchdog/RunMonitor.h"
#include "http/UrlInfo.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace ovo {

/// Summary of a run. Its parts report their decisions here, besides their log lines, and its end is
/// one level 2 line that an operator can read without the others, and a document for programs. Who
/// watches learns where the run is. The parts also learn here that the run is cancelled. One object
/// for all runs, used by the run in progress: by the thread that starts it, then by its own;
/// progress() and cancel() from every thread.
///
/// Causes and reasons are clauses for people, without credentials and values of parameters.
class RunReport {
public:
    /// runMonitor: none where nobody watches. otherRecord: takes down the same as the document,
    /// without its limits; outlives the report; none where nobody wants it.
    explicit RunReport(std::unique_ptr<RunMonitor> runMonitor = nullptr,
                       IRunRecord* otherRecord = nullptr);
    RunReport(const RunReport&) = delete;
    RunReport& operator=(const RunReport&) = delete;

    /// How lines and documents name a run that is asked for with this URL, valid or not.
    static std::string addressOf(const std::string& url);

    /// Numbers the following runs after the one of a document: of an earlier process, or the empty
    /// text.
    void continueAfter(const std::string& lastDocument);

    /// A run begins. url: as requested, valid or not.
    void begin(const std::string& url) noexcept;
    /// A file of the run is about to be fetched. Many files in one run, and a repeated file, are
    /// noted in level 2 lines.
    void fileBegins(const http::UrlInfo& url);
    /// Its transfer has ended. httpStatus: the last one; 0 where none arrived.
    void fileFetched(int httpStatus, std::uint64_t bytes) noexcept;
    void fileEnds(ProvisioningStatus status) noexcept;
    void jobBegins(const std::string& element);
    /// Which handler does the job.
    void jobIs(const std::string& handler) noexcept;
    void jobEnds(ProvisioningStatus status) noexcept;
    void stepBegins() noexcept;
    void stepIs(const std::string& type) noexcept;
    void stepEnds(bool succeeded) noexcept;
    /// The step ends without having been executed, as nobody knows its type: not a failure.
    void stepIsUnknown() noexcept;
    void parametersRequested(std::size_t count) noexcept;
    void parametersAttempted(std::size_t count) noexcept;
    /// count: parameters whose value changed.
    void parametersApplied(std::size_t count) noexcept;
    void parameterRefused(std::string_view name, const std::string& why) noexcept;
    /// Versions of the firmware, and what is made of the offer. installed: empty where nobody
    /// looked.
    void firmware(const std::string& installed, const std::string& offered,
                  const std::string& decision) noexcept;
    /// A part of the run failed. Only the first cause of a run is kept, cut when it is long, and
    /// the first one of each file, job and step.
    void failed(const std::string& what) noexcept;
    /// Something that is no failure, and that who looks for one ought to know, of the step, job or
    /// file in progress.
    void remark(const std::string& what) noexcept;
    /// The likely reason, in case the current file turns out to be unreadable; empty: none.
    void suspect(const std::string& what) { suspicion = what; }
    /// A transfer moves. total: 0 while unknown. Transfers of other threads are not the run's.
    void progress(std::int64_t bytes, std::int64_t total);
    /// The process is ending: cancels this run and all later ones.
    void cancel() { cancelled = true; }
    /// True when no further file or job may begin. Files and jobs left out count as failed.
    bool isCancelled() const { return cancelled; }
    /// The run has ended: writes its line and its document.
    void end(ProvisioningStatus status, int httpStatus) noexcept;
    /// Of the run that ended last; empty when it could not be written.
    const std::string& document() const { return text; }

private:
    using Clock = std::chrono::steady_clock;

    struct RecentFile {
        std::string url; ///< without credentials
        bool isRepeated = false;
    };

    std::string describe(const std::string& what) const;
    std::string causeOf(ProvisioningStatus status) const;
    void noteRepetition();
    void show();
    template <typename Work>
    void note(Work work) noexcept;

    std::string address; ///< without credentials
    Clock::time_point started{};
    std::string currentFile; ///< its URL without credentials
    std::deque<RecentFile> recentFiles;
    std::size_t files = 0;
    std::size_t nextNotedFiles = 0;
    std::size_t jobs = 0;
    std::size_t requested = 0;
    std::size_t applied = 0;
    std::size_t refused = 0;
    std::string suspicion; ///< of the current file
    std::string cause;     ///< of the first failure
    std::atomic<bool> cancelled{false};
    std::unique_ptr<RunMonitor> monitor;
    RunMonitor::Progress position;
    std::atomic<std::thread::id> runner; ///< the thread of the run
    std::uint64_t number = 0;
    ReportDocument parts;
    IRunRecord* record;
    std::string text; ///< of the document
};

} // namespace ovo
