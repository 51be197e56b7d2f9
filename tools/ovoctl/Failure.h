// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

namespace ovoctl {

/// The command was used wrongly; the text is a sentence for the user.
class Misuse : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What the command needs to ask is not there; the text is a sentence for the user.
class Unaskable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace ovoctl
