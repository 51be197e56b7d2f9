// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

namespace ovoctl {

/// The command was used wrongly. The text is the sentence for the user.
class Misuse : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What was to be asked (broker, store, daemon, file) is not there. The text is the sentence for
/// the user.
class Unaskable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace ovoctl
