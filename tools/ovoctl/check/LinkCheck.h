// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "AttributeCheck.h"
#include "DocumentContext.h"
#include "JobElement.h"
#include "UrlCheck.h"

#include <cstddef>
#include <string>
#include <vector>

namespace ovoctl::check {

/// What leads to further provisioning files: the children of lists, and steps that redirect.
class LinkCheck {
public:
    /// Where a document leads to; the URL as that of a Link.
    struct Target {
        std::size_t offset;
        std::string url;
        bool isRelative;
    };

    /// All of them outlive the check.
    LinkCheck(const DocumentContext& context, AttributeCheck& attributes, UrlCheck& urls)
        : context_(context), attributes_(attributes), urls_(urls) {}

    /// A list of files or categories.
    void checkList(const JobElement& job);
    /// Runs one child of a job to learn where it leads.
    void follow(const JobElement& job, const Leaf& leaf);
    /// In the order in which they were followed.
    std::vector<Target> takeTargets() { return std::move(targets_); }

private:
    bool checkCategory(const Leaf& leaf);

    const DocumentContext& context_;
    AttributeCheck& attributes_;
    UrlCheck& urls_;
    std::vector<Target> targets_;
};

} // namespace ovoctl::check
