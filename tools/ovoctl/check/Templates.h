// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string_view>

namespace ovoctl::check {

/// A commented provisioning file to begin with.
struct Template {
    std::string_view kind;
    std::string_view text;
};

/// One for each kind of file.
extern const std::array<Template, 4> TEMPLATES;

} // namespace ovoctl::check
