// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Answer.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace faults {

/// Which answer is next. Any thread.
class Script {
public:
    explicit Script(std::vector<Answer> answers);

    /// Of those for this target that have not been given often enough, the first one; null when
    /// there is none. Valid as long as the script.
    const Answer* next(const std::string& target);

    /// Reads the list "answers" of a scenario file. Throws scenario::ScenarioError.
    static std::vector<Answer> read(const std::string& path);

private:
    const std::vector<Answer> answers_;
    std::mutex mutex_; ///< guards what follows
    std::vector<std::uint64_t> given_;
};

} // namespace faults
