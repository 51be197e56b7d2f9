// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CheckProgram.h"

#include <json/value.h>

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

/// What "ovoctl check" says of the files of a run, held against the report of the run.
class CheckedRun {
public:
    /// contents: of the files as they were before they were encrypted, by URL. outside: parts of
    /// the causes of failures that no file is to blame for; each of them has to occur.
    CheckedRun(const Json::Value& report, const checkprogram::Checked& checked,
               const std::map<std::string, std::string>& contents,
               const std::vector<std::string>& outside);

    /// Expects that both say the same: which files are taken, which elements are jobs, which jobs
    /// and steps succeed, which parameters are refused and why, which files are followed, and the
    /// result.
    void expectAgreement();

private:
    using Findings = std::vector<checkprogram::Finding>;
    struct Element;
    struct Document;
    struct Job;

    void compareFile(const Json::Value& file);
    void compareUnfetched(const Json::Value& file);
    void compareRefused(const Json::Value& file, const Findings& findings);
    void compareJob(const Json::Value& job, const Element& element);
    void compareParameters(const Json::Value& job, const Element& element);
    void compareList(const Json::Value& job, const Element& element);
    void compareFirmware(const Json::Value& job, const Element& element);
    void compareSteps(const Json::Value& job, const Element& element);
    /// Expects that something fails where a finding says so or something outside is the cause.
    void compareFailure(const Json::Value& reported, bool isExpected);
    bool leadsOn(const Element& leaf);
    bool isOutside(const std::string& cause);

    const Json::Value& report_;
    const checkprogram::Checked& checked_;
    const std::map<std::string, std::string>& contents_;
    const std::vector<std::string>& outside_;
    std::set<std::string> occurred_;    ///< of what is outside
    std::set<std::string> unreachable_; ///< ends of URLs that findings say cannot be fetched
    std::size_t followed_ = 1;          ///< files that the findings leave to be followed
};
