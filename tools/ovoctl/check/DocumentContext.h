// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Finding.h"
#include "JobBench.h"
#include "http/UrlInfo.h"

namespace ovoctl::check {

/// What the checks of one document share. One thread.
struct DocumentContext {
    JobBench& bench;
    const http::UrlInfo& address; ///< where the phone finds the file
    bool isEncrypted;             ///< the file is, and the document what was in it
    FindingCollector& findings;
};

} // namespace ovoctl::check
