// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

namespace ovoctl {

/// The program was used wrongly. The text is a sentence for the user.
class Misuse : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Who was to be asked (broker, store, daemon, file) could not be asked. The text is a sentence for
/// the user.
class Unaskable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace ovoctl
