// SPDX-License-Identifier: Apache-2.0
#include "Answer.h"

#include <stdexcept>

namespace faults {

void Answer::check() const {
    if (user.has_value() != password.has_value())
        throw std::invalid_argument("user and password belong together");
    if (user && !challenge)
        throw std::invalid_argument("user and password need unauthorized");
    if (user && (*challenge == Challenge::UNKNOWN || *challenge == Challenge::NONE))
        throw std::invalid_argument(
            "user and password need unauthorized to be basic, digest or both");
}

} // namespace faults
