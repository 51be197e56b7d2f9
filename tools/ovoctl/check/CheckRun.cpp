// SPDX-License-Identifier: Apache-2.0
#include "CheckRun.h"

#include "FileChecker.h"
#include "LinkMap.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/InputFile.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>
#include <utility>

namespace ovoctl::check {

namespace {

/// The files of a run, taken one after another by the threads; each result has its place.
class Work {
public:
    Work(const CheckOptions& options, std::vector<CheckSource>& sources,
         std::vector<CheckedFile>& files, std::vector<FileResult>& results)
        : options_(options), sources_(sources), files_(files), results_(results) {}

    void run() {
        if (sources_.size() == 1)
            return drain();
        std::exception_ptr failure;
        std::thread helper([&] {
            try {
                drain();
            } catch (...) {
                failure = std::current_exception();
            }
        });
        try {
            drain();
        } catch (...) {
            next_ = sources_.size();
            helper.join();
            throw;
        }
        helper.join();
        if (failure)
            std::rethrow_exception(failure);
    }

private:
    void drain() {
        FileChecker checker(options_.phone, options_.key);
        for (std::size_t number = next_++; number < sources_.size(); number = next_++)
            check(checker, number);
    }

    void check(FileChecker& checker, std::size_t number) {
        CheckSource& source = sources_[number];
        results_[number].name = source.name;
        results_[number].unreadable = source.unreadable;
        if (!source.unreadable.empty())
            return;
        try {
            files_[number] = checker.check(source.content ? std::move(*source.content)
                                                          : readProvisioningFile(source.path),
                                           source.address);
        } catch (const Unaskable& failure) {
            results_[number].unreadable = failure.what();
        }
    }

    const CheckOptions& options_;
    std::vector<CheckSource>& sources_;
    std::vector<CheckedFile>& files_;
    std::vector<FileResult>& results_;
    std::atomic<std::size_t> next_{0};
};

} // namespace

std::vector<FileResult> runCheck(const CheckOptions& options) {
    std::vector<CheckSource> sources = findSources(options.arguments, options.base);
    std::vector<CheckedFile> files(sources.size());
    std::vector<FileResult> results(sources.size());
    Work(options, sources, files, results).run();
    findLoops(sources, !options.base.empty(), files);
    for (std::size_t number = 0; number < files.size(); ++number) {
        std::vector<Finding>& findings = files[number].findings;
        std::erase_if(findings, [&](const Finding& finding) {
            return options.allowed.contains(finding.rule->name);
        });
        std::stable_sort(findings.begin(), findings.end(),
                         [](const Finding& left, const Finding& right) {
                             return std::pair(left.place.line, left.place.column) <
                                    std::pair(right.place.line, right.place.column);
                         });
        results[number].findings = std::move(findings);
    }
    return results;
}

} // namespace ovoctl::check
