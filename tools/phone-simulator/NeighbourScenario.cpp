// SPDX-License-Identifier: Apache-2.0
#include "NeighbourScenario.h"

#include "NeighbourTable.h"
#include "scenario/ScenarioFile.h"
#include "text/Quote.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace simulator {

namespace {

using std::chrono::milliseconds;

milliseconds timeOf(const Json::Value& value) {
    return milliseconds(static_cast<milliseconds::rep>(scenario::secondsOf(value) * 1000));
}

std::string neighbourOf(const Json::Value& value) {
    std::string name = scenario::textOf(value);
    std::string known;
    for (const std::string& neighbour : neighbourNames()) {
        if (name == neighbour)
            return name;
        known += (known.empty() ? "" : ", ") + neighbour;
    }
    throw std::invalid_argument(quote(name) + " is not one of " + known);
}

std::uint64_t timesOf(const Json::Value& value) {
    scenario::wholeNumberOf(value);
    if (value.asUInt64() == 0)
        throw std::invalid_argument("has to be 1 or more");
    return value.asUInt64();
}

const Json::Value& objectOf(const Json::Value& value) {
    if (!value.isObject())
        throw std::invalid_argument("has to be an object, the parameters of the answer");
    return value;
}

void take(Behaviour& behaviour, const std::string& name, const Json::Value& value) {
    if (name == "neighbour")
        behaviour.neighbour = neighbourOf(value);
    else if (name == "message")
        behaviour.message = scenario::textOf(value);
    else if (name == "times")
        behaviour.times = timesOf(value);
    else if (name == "late")
        behaviour.late = timeOf(value);
    else if (name == "refuse")
        behaviour.refuse = scenario::textOf(value);
    else if (name == "answer")
        behaviour.answer = objectOf(value);
    else if (name == "crash")
        behaviour.crash = timeOf(value);
    else if (name == "absent")
        behaviour.absent = timeOf(value);
    else
        throw std::invalid_argument("is not known here");
}

} // namespace

void Behaviour::check() const {
    if (neighbour.empty())
        throw std::invalid_argument("the neighbour is missing");
    const bool isOnMessages = refuse || answer || crash || late.count() > 0;
    if (absent && (isOnMessages || !message.empty() || times))
        throw std::invalid_argument("absent stands alone with the neighbour");
    if (!absent && !isOnMessages)
        throw std::invalid_argument("one of absent, answer, crash, late and refuse is missing");
    if (static_cast<int>(refuse.has_value()) + static_cast<int>(answer.has_value()) +
            static_cast<int>(crash.has_value()) >
        1)
        throw std::invalid_argument("only one of answer, crash and refuse is possible");
    if (!message.empty() && !hears(neighbour, message))
        throw std::invalid_argument(neighbour + " gets no message " + quote(message));
    if (answer && (message.empty() || !saysSomethingTo(message)))
        throw std::invalid_argument("answer needs a message that is answered: AreYouReady or "
                                    "GetHttpCredentials");
}

NeighbourScenario::NeighbourScenario(std::vector<Behaviour> behaviours)
    : behaviours_(std::move(behaviours)), shown_(behaviours_.size()) {}

const Behaviour* NeighbourScenario::next(const std::string& neighbour, const std::string& message) {
    const std::lock_guard lock(mutex_);
    for (std::size_t index = 0; index < behaviours_.size(); ++index) {
        const Behaviour& behaviour = behaviours_[index];
        if (behaviour.absent || behaviour.neighbour != neighbour)
            continue;
        if (!behaviour.message.empty() && behaviour.message != message)
            continue;
        if (behaviour.times && shown_[index] >= *behaviour.times)
            continue;
        ++shown_[index];
        return &behaviour;
    }
    return nullptr;
}

std::optional<milliseconds> NeighbourScenario::absence(const std::string& neighbour) const {
    for (const Behaviour& behaviour : behaviours_) {
        if (behaviour.neighbour == neighbour && behaviour.absent)
            return behaviour.absent;
    }
    return std::nullopt;
}

bool NeighbourScenario::wait(milliseconds time) {
    std::unique_lock lock(mutex_);
    return !ended_.wait_for(lock, time, [this] { return isEnded_; });
}

void NeighbourScenario::end() {
    {
        const std::lock_guard lock(mutex_);
        isEnded_ = true;
    }
    ended_.notify_all();
}

std::vector<Behaviour> NeighbourScenario::read(const std::string& path) {
    std::vector<Behaviour> behaviours;
    const scenario::ScenarioFile file(path);
    file.forEach(
        "neighbours",
        [&]() -> scenario::ScenarioFile::TakeMember {
            Behaviour& behaviour = behaviours.emplace_back();
            return [&behaviour](const std::string& name, const Json::Value& value) {
                take(behaviour, name, value);
            };
        },
        [&] { behaviours.back().check(); });
    return behaviours;
}

} // namespace simulator
