// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "AttributeCheck.h"
#include "DocumentContext.h"
#include "JobElement.h"

#include <cstddef>
#include <string>
#include <unordered_map>

namespace ovoctl::check {

/// Jobs that write parameters: their keys, and which of them the phone refuses.
class ParameterCheck {
public:
    /// Both outlive the check, which is that of one document.
    ParameterCheck(const DocumentContext& context, AttributeCheck& attributes)
        : context_(context), attributes_(attributes) {}

    /// The jobs in the order in which the phone runs them.
    void check(const JobElement& job);

private:
    void checkKey(const Leaf& leaf);

    const DocumentContext& context_;
    AttributeCheck& attributes_;
    std::unordered_map<std::string, std::size_t> keys_; ///< to the offset where it came first
};

} // namespace ovoctl::check
