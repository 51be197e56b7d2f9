// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningStatus.h"
#include "http/UrlInfo.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <string>

namespace ovo {

/// Summary of a run. Its parts report their decisions here, besides their log lines, and its end is
/// one level 2 line that an operator can read without the others. The parts also learn here that
/// the run is cancelled. One object for all runs, used by the run in progress: by the thread that
/// starts it, then by its own; cancel() from every thread.
class RunReport {
public:
    RunReport() = default;
    RunReport(const RunReport&) = delete;
    RunReport& operator=(const RunReport&) = delete;

    /// A run begins. url: as requested, valid or not.
    void begin(const std::string& url) noexcept;
    /// A file of the run is about to be fetched. Many files in one run, and a repeated file, are
    /// noted in level 2 lines.
    void fileBegins(const http::UrlInfo& url);
    void jobBegins() { ++jobs; }
    void parametersRequested(std::size_t count) { requested += count; }
    /// count: parameters whose value changed.
    void parametersApplied(std::size_t count) { applied += count; }
    void parameterRefused() { ++refused; }
    /// A part of the run failed. what: a clause for people, without credentials and values of
    /// parameters. Only the first of a run is kept, cut when it is long.
    void failed(const std::string& what) noexcept;
    /// The likely reason, in case the current file turns out to be unreadable; empty: none.
    void suspect(const std::string& what) { suspicion = what; }
    /// The process is ending: cancels this run and all later ones.
    void cancel() { cancelled = true; }
    /// True when no further file or job may begin. Files and jobs left out count as failed.
    bool isCancelled() const { return cancelled; }
    /// The run has ended: writes its line.
    void end(ProvisioningStatus status) const noexcept;

private:
    using Clock = std::chrono::steady_clock;

    struct RecentFile {
        std::string url; ///< without credentials
        bool isRepeated = false;
    };

    std::string describe(const std::string& what) const;
    void writeLine(ProvisioningStatus status) const;
    bool isRepeatedNow(const std::string& url);

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
};

} // namespace ovo
