// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Answer.h"

#include <string>
#include <vector>

namespace faults {

/// A part of an answer as a user writes it: a member in a scenario file, "--NAME" as an option.
struct AnswerMember {
    enum class Kind { FLAG, TEXT, TEXTS, NUMBER, SECONDS, PLACE };

    std::string name;
    Kind kind;
    std::string valueName; ///< in the help
    std::string help;
    /// Throws std::invalid_argument with a sentence about the value.
    void (*set)(Answer&, const std::string& value);
    bool isShown; ///< in the log
};

/// All members.
const std::vector<AnswerMember>& answerMembers();

/// Sets a member and notes it for the log. Throws as AnswerMember::set does.
void setMember(Answer& answer, const AnswerMember& member, const std::string& value);

} // namespace faults
