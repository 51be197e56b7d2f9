// SPDX-License-Identifier: Apache-2.0
#include "Script.h"

#include "AnswerMembers.h"
#include "scenario/ScenarioFile.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace faults {

namespace {

using Kind = AnswerMember::Kind;

/// The texts that a member's value stands for; none for a flag that is false.
std::vector<std::string> valuesOf(Kind kind, const Json::Value& value) {
    switch (kind) {
    case Kind::FLAG:
        return scenario::flagOf(value) ? std::vector<std::string>{""} : std::vector<std::string>{};
    case Kind::NUMBER:
        return {scenario::wholeNumberOf(value)};
    case Kind::SECONDS:
        return {std::to_string(scenario::secondsOf(value))};
    case Kind::PLACE:
        return {value == "start" ? "start" : scenario::wholeNumberOf(value)};
    case Kind::TEXTS: {
        if (!value.isArray())
            throw std::invalid_argument("has to be a list of texts");
        std::vector<std::string> texts;
        for (const Json::Value& item : value)
            texts.push_back(scenario::textOf(item));
        return texts;
    }
    case Kind::TEXT:
        break;
    }
    return {scenario::textOf(value)};
}

void take(Answer& answer, const std::string& name, const Json::Value& value) {
    const auto& members = answerMembers();
    const auto member =
        std::find_if(members.begin(), members.end(),
                     [&](const AnswerMember& candidate) { return candidate.name == name; });
    if (member == members.end())
        throw std::invalid_argument("is not known here");
    for (const std::string& text : valuesOf(member->kind, value))
        setMember(answer, *member, text);
}

std::string pathOf(const std::string& target) {
    return target.substr(0, target.find('?'));
}

} // namespace

Script::Script(std::vector<Answer> answers)
    : answers_(std::move(answers)), given_(answers_.size()) {}

const Answer* Script::next(const std::string& target) {
    const std::lock_guard lock(mutex_);
    for (std::size_t index = 0; index < answers_.size(); ++index) {
        const Answer& answer = answers_[index];
        if (!answer.path.empty() && answer.path != pathOf(target))
            continue;
        if (answer.times && given_[index] >= *answer.times)
            continue;
        ++given_[index];
        return &answer;
    }
    return nullptr;
}

std::vector<Answer> Script::read(const std::string& path) {
    std::vector<Answer> answers;
    const scenario::ScenarioFile file(path);
    file.forEach(
        "answers",
        [&]() -> scenario::ScenarioFile::TakeMember {
            Answer& answer = answers.emplace_back();
            return [&answer](const std::string& name, const Json::Value& value) {
                take(answer, name, value);
            };
        },
        [&] { answers.back().check(); });
    return answers;
}

} // namespace faults
