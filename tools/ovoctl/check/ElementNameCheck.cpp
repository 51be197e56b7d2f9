// SPDX-License-Identifier: Apache-2.0
#include "ElementNameCheck.h"

#include "JobHandlers/XMLNodeType.h"
#include "Suggestion.h"
#include "Utils.h"
#include "WordList.h"
#include "text/Quote.h"

#include <algorithm>
#include <string>
#include <utility>

namespace ovoctl::check {

namespace {

namespace names = ovo::XMLParser;
using common::xml::Node;
using ovo::Utils;

/// What may hold childless elements, and what these are called.
const WordList HOLDERS = wordListOf(names::MASTER_NODES);
const WordList LEAVES{names::NVM_SETTINGS_PARAM_STR, names::DOWNLOADABLE_FILE_STR,
                      names::PROVISIONING_CATEGORY_STR, names::CUSTOM_STEP_STR};

std::string nameOf(const Node& element) {
    return "the element " + Utils::shortQuote(element.tag());
}

} // namespace

void ElementNameCheck::checkBare(const Node& element) {
    findings_.add(rules::BARE_ELEMENT, placeOf(element),
                  nameOf(element) + " has no attributes and is left out");
}

void ElementNameCheck::checkMixed(const Node& element, const std::vector<Leaf>& leaves,
                                  bool isJob) {
    if (leaves.empty())
        return;
    const std::string first = leaves.front().element.tag();
    const auto other = std::find_if(leaves.begin(), leaves.end(),
                                    [&](const Leaf& leaf) { return leaf.element.tag() != first; });
    const bool areMixed = other != leaves.end();
    if (!areMixed && isJob)
        return;
    std::string sentence = nameOf(element) + " holds ";
    std::string slip;
    if (areMixed) {
        const std::string second = other->element.tag();
        sentence += Utils::shortQuote(first) + " and " + Utils::shortQuote(second);
        slip = suggestion(contains(LEAVES, first) ? second : first, LEAVES);
    } else {
        sentence += "childless elements of another name, or one without attributes, or one inside "
                    "an element before them";
    }
    sentence += isJob ? ", which count as one and the same" : ", so all of them are left out";
    findings_.add(rules::MIXED_CHILDREN, placeOf(areMixed ? other->element : element),
                  sentence + slip);
}

void ElementNameCheck::checkHolder(const Node& element) {
    if (!contains(HOLDERS, element.tag()))
        findings_.add(rules::UNREAD_ELEMENT, placeOf(element),
                      nameOf(element) + " means nothing; only what is inside it counts" +
                          suggestion(element.tag(), HOLDERS));
}

void ElementNameCheck::checkLeaves(const JobElement& job, std::string_view expected) {
    for (const Leaf& leaf : job.leaves) {
        const std::string name = leaf.element.tag();
        if (name != expected)
            findings_.add(rules::UNREAD_ELEMENT, placeOf(leaf.element),
                          nameOf(leaf.element) + " counts as " + quote(std::string(expected)) +
                              " here, whatever its name" + suggestion(name, {expected}));
    }
}

void ElementNameCheck::checkUnknown(const JobElement& job) {
    const std::string ofHolder = suggestion(job.node.name, HOLDERS);
    const std::string ofLeaf = suggestion(job.node.type, LEAVES);
    const bool isOfLeaf = ofHolder.empty() && !ofLeaf.empty();
    findings_.add(rules::UNKNOWN_JOB, placeOf(isOfLeaf ? job.leaves.front().element : job.element),
                  "the element " + Utils::shortQuote(job.node.name) + " with " +
                      Utils::shortQuote(job.node.type) + " in it is not a job" +
                      (isOfLeaf ? ofLeaf : ofHolder));
}

} // namespace ovoctl::check
