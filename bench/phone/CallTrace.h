// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BenchPhone.h"

#include <cstddef>
#include <functional>
#include <string>

namespace bench {

/// The daemon of a phone, started by strace, and what it asked of the kernel.
class CallTrace {
public:
    /// calls: names, with commas.
    CallTrace(BenchPhone& phone, const std::string& calls);

    /// Calls so far whose line (names of files included) meets the condition.
    std::size_t count(const std::function<bool(const std::string& line)>& condition) const;

private:
    TemporaryDirectory directory_;
};

} // namespace bench
