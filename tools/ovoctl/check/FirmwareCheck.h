// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "AttributeCheck.h"
#include "DocumentContext.h"
#include "JobElement.h"
#include "UrlCheck.h"

namespace ovoctl::check {

/// Jobs that install firmware: how many images, and whether the phone would take the version.
class FirmwareCheck {
public:
    /// All of them outlive the check.
    FirmwareCheck(const DocumentContext& context, AttributeCheck& attributes, UrlCheck& urls)
        : context_(context), attributes_(attributes), urls_(urls) {}

    void check(const JobElement& job);

private:
    void checkVersion(const Leaf& leaf);

    const DocumentContext& context_;
    AttributeCheck& attributes_;
    UrlCheck& urls_;
};

} // namespace ovoctl::check
