// SPDX-License-Identifier: Apache-2.0
#include "StepCheck.h"

#include "JobHandlers/StepTypes.h"
#include "JobHandlers/XMLNodeType.h"
#include "Suggestion.h"
#include "Utils.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace ovoctl::check {

namespace {

namespace names = ovo::XMLParser;
namespace steps = ovo::steps;
using ovo::Utils;

const std::string TYPE = names::CUSTOM_STEP_ATTR_TYPE_STR;
/// Of a step that could be any.
const KnownAttributes OF_ANY_STEP{
    {names::CUSTOM_STEP_ATTR_TYPE_STR},
    {steps::ATTR_URL, steps::ATTR_FLAGS, steps::ATTR_PASSWORD, steps::ATTR_RENEW_PERIOD}};

KnownAttributes attributesOf(const steps::StepType& step) {
    KnownAttributes known{{names::CUSTOM_STEP_ATTR_TYPE_STR}, {}};
    if (step.needsUrl)
        known.needed.emplace_back(steps::ATTR_URL);
    if (step.optional != nullptr)
        known.optional.emplace_back(step.optional);
    return known;
}

} // namespace

/// How the values of a type of step are checked.
struct StepCheck::Values {
    std::string_view type;
    UrlCheck::Content fetched;                     ///< from its URL
    void (StepCheck::*checkOptional)(const Leaf&); ///< of the optional attribute, if any
};

const StepCheck::Values StepCheck::VALUES[]{
    {steps::CERTIFICATE, UrlCheck::Content::FILE, &StepCheck::checkFlags},
    {steps::CLIENT_CERTIFICATE, UrlCheck::Content::NAMED_FILE, nullptr},
    {steps::CLIENT_KEY, UrlCheck::Content::PRIVATE_KEY, &StepCheck::checkPassword},
    {steps::WALLPAPER, UrlCheck::Content::FILE, nullptr},
    {steps::LOCAL_PHONE_BOOK, UrlCheck::Content::FILE, &StepCheck::checkRenewPeriod},
};

void StepCheck::check(const JobElement& job) {
    for (const Leaf& leaf : job.leaves)
        checkStep(job, leaf);
}

void StepCheck::checkStep(const JobElement& job, const Leaf& leaf) {
    const std::string type = leaf.value(TYPE);
    const auto* const known =
        std::find_if(steps::ALL.begin(), steps::ALL.end(),
                     [&](const steps::StepType& candidate) { return type == candidate.name; });
    if (known == steps::ALL.end())
        checkUnknown(leaf);
    else if (attributes_.checkLeaf(leaf, attributesOf(*known)))
        checkValues(job, leaf);
}

void StepCheck::checkUnknown(const Leaf& leaf) {
    if (!attributes_.checkLeaf(leaf, OF_ANY_STEP))
        return;
    WordList types;
    for (const steps::StepType& candidate : steps::ALL)
        types.emplace_back(candidate.name);
    const std::string type = leaf.value(TYPE);
    context_.findings.add(rules::UNKNOWN_STEP, leaf.placeOfAttribute(TYPE),
                          "no step is called " + Utils::shortQuote(type) + ", so it is left out" +
                              suggestion(type, types));
}

void StepCheck::checkValues(const JobElement& job, const Leaf& leaf) {
    const std::string type = leaf.value(TYPE);
    if (type == steps::REDIRECT)
        links_.follow(job, leaf);
    if (type == steps::UNLOCK_FUNCTION_KEYS)
        context_.bench.unlockFunctionKeys(job.node, leaf.attributes, context_.address);
    for (const Values& values : VALUES) {
        if (values.type != type)
            continue;
        urls_.check(leaf, values.fetched);
        if (values.checkOptional != nullptr)
            (this->*values.checkOptional)(leaf);
    }
}

void StepCheck::checkPassword(const Leaf& leaf) {
    if (!leaf.value(steps::ATTR_PASSWORD).empty() && !context_.isEncrypted &&
        isPlain(context_.address))
        context_.findings.add(rules::PLAIN_SECRET, leaf.placeOfAttribute(steps::ATTR_PASSWORD),
                              "the password goes over plain http in a file that is not encrypted");
}

void StepCheck::checkRenewPeriod(const Leaf& leaf) {
    attributes_.checkPeriod(leaf, steps::ATTR_RENEW_PERIOD, rules::RENEW_PERIOD);
}

} // namespace ovoctl::check
