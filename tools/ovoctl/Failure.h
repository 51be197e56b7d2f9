// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

namespace ovoctl {

/// The command line was wrong; the text is the sentence for the user.
class Misuse : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Nobody could be asked; the text is the sentence for the user.
class Unaskable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace ovoctl
