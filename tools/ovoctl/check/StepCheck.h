// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "AttributeCheck.h"
#include "DocumentContext.h"
#include "JobElement.h"
#include "LinkCheck.h"
#include "UrlCheck.h"

namespace ovoctl::check {

/// Jobs that are scenarios: the types of their steps, and the values that each type reads.
class StepCheck {
public:
    /// All of them outlive the check.
    StepCheck(const DocumentContext& context, AttributeCheck& attributes, UrlCheck& urls,
              LinkCheck& links)
        : context_(context), attributes_(attributes), urls_(urls), links_(links) {}

    void check(const JobElement& job);

private:
    struct Values;

    void checkStep(const JobElement& job, const Leaf& leaf);
    void checkUnknown(const Leaf& leaf);
    void checkValues(const JobElement& job, const Leaf& leaf);
    void checkFlags(const Leaf& leaf) { attributes_.checkFlags(leaf); }
    void checkPassword(const Leaf& leaf);
    void checkRenewPeriod(const Leaf& leaf);

    static const Values VALUES[];

    const DocumentContext& context_;
    AttributeCheck& attributes_;
    UrlCheck& urls_;
    LinkCheck& links_;
};

} // namespace ovoctl::check
