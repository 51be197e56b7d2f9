// SPDX-License-Identifier: Apache-2.0
#include "ParameterCheck.h"

#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"
#include "Vocabulary.h"
#include "text/Quote.h"

#include <string_view>
#include <vector>

namespace ovoctl::check {

namespace {

namespace names = ovo::XMLParser;
using ovo::Utils;

constexpr std::string_view STATE = "State.";
const std::string NAME = names::NVM_SETTINGS_PARAM_ATTR_NAME_STR;
const std::string FLAGS = names::NVM_SETTINGS_PARAM_ATTR_FLAGS_STR;
const KnownAttributes ATTRIBUTES{
    {names::NVM_SETTINGS_PARAM_ATTR_NAME_STR, names::NVM_SETTINGS_PARAM_ATTR_VALUE_STR},
    {names::NVM_SETTINGS_PARAM_ATTR_FLAGS_STR}};

} // namespace

void ParameterCheck::check(const JobElement& job) {
    std::vector<bool> isComplete;
    isComplete.reserve(job.leaves.size());
    for (const Leaf& leaf : job.leaves) {
        isComplete.push_back(attributes_.checkLeaf(leaf, ATTRIBUTES));
        if (leaf.has(FLAGS))
            context_.findings.add(rules::IGNORED_FLAGS, leaf.placeOfAttribute(FLAGS),
                                  "\"flags\" of a parameter is ignored");
        if (leaf.has(NAME))
            checkKey(leaf);
    }
    for (const JobBench::Refusal& refusal :
         context_.bench.refusedParameters(job.node, context_.address)) {
        if (!isComplete.at(refusal.child))
            continue; // has been said
        const Leaf& leaf = job.leaves.at(refusal.child);
        context_.findings.add(rules::REFUSED_PARAMETER, leaf.placeOfAttribute(NAME),
                              "the phone refuses " + Utils::shortQuote(leaf.value(NAME)) + ": " +
                                  refusal.why);
    }
}

void ParameterCheck::checkKey(const Leaf& leaf) {
    const std::string key = leaf.value(NAME);
    const std::size_t place = leaf.placeOfAttribute(NAME);
    if (key.empty())
        context_.findings.add(rules::EMPTY_NAME, place, "the name is empty");
    if (key == ovo::keys::PROVISIONING_PERIOD)
        attributes_.checkPeriod(leaf, names::NVM_SETTINGS_PARAM_ATTR_VALUE_STR, rules::PERIOD);
    if (key == ovo::keys::MAC_ADDRESS)
        context_.findings.add(rules::PROTECTED_KEY, place,
                              quote(key) + " is the phone's own address");
    if (key.starts_with(STATE))
        context_.findings.add(rules::PROTECTED_KEY, place,
                              Utils::shortQuote(key) + " is the state of a service, not a setting");
    if (const auto [first, isNew] = keys_.emplace(key, place); !isNew)
        context_.findings.add(rules::REPEATED_KEY, place,
                              Utils::shortQuote(key) + " is set twice; the last one counts",
                              first->second);
}

} // namespace ovoctl::check
