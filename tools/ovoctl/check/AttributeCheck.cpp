// SPDX-License-Identifier: Apache-2.0
#include "AttributeCheck.h"

#include "JobHandlers/StepTypes.h"
#include "JobHandlers/XMLNodeType.h"
#include "Suggestion.h"
#include "Utils.h"
#include "text/Quote.h"

#include <set>
#include <stdexcept>
#include <string>

namespace ovoctl::check {

namespace {

namespace names = ovo::XMLParser;
using common::xml::Node;
using ovo::Utils;

const WordList OF_ROOT{names::GLOBAL_ATTR_VERSION_STR, names::GLOBAL_ATTR_PRODUCT_ID_STR,
                       names::GLOBAL_ATTR_MAC_ADDRESS_STR};

std::string nothingReads(const Node::Attribute& attribute) {
    return "nothing reads the attribute " + Utils::shortQuote(std::string(attribute.name)) + " of ";
}

} // namespace

/// Calls visit with each attribute, but not again with one that is repeated, which is a finding.
template <typename Visitor>
void AttributeCheck::forEachFirst(const Node& element, Visitor visit) {
    std::set<std::string_view> seen;
    for (const Node::Attribute attribute : element.attrs()) {
        if (seen.insert(attribute.name).second)
            visit(attribute);
        else
            findings_.add(rules::REPEATED_ATTRIBUTE, element.offset(attribute),
                          "the attribute " + Utils::shortQuote(std::string(attribute.name)) +
                              " comes twice; the first one counts");
    }
}

void AttributeCheck::checkRoot(const Node& root) {
    forEachFirst(root, [&](const Node::Attribute& attribute) {
        if (!contains(OF_ROOT, attribute.name))
            findings_.add(rules::UNREAD_ATTRIBUTE, root.offset(attribute),
                          nothingReads(attribute) + "the root element" +
                              suggestion(attribute.name, OF_ROOT));
    });
}

void AttributeCheck::checkHolder(const Node& element) {
    forEachFirst(element, [&](const Node::Attribute& attribute) {
        findings_.add(
            rules::UNREAD_ATTRIBUTE, element.offset(attribute),
            nothingReads(attribute) + Utils::shortQuote(element.tag()) +
                (contains(OF_ROOT, attribute.name) ? "; it belongs to the root element" : ""));
    });
}

bool AttributeCheck::checkLeaf(const Leaf& leaf, const KnownAttributes& known) {
    forEachFirst(leaf.element, [&](const Node::Attribute& attribute) {
        if (contains(known.needed, attribute.name) || contains(known.optional, attribute.name))
            return;
        const std::string nearest = suggestion(attribute.name, known.needed);
        findings_.add(rules::UNREAD_ATTRIBUTE, leaf.element.offset(attribute),
                      nothingReads(attribute) + Utils::shortQuote(leaf.element.tag()) +
                          (nearest.empty() ? suggestion(attribute.name, known.optional) : nearest));
    });
    bool isComplete = true;
    for (const std::string_view view : known.needed) {
        const std::string name(view);
        if (leaf.has(name))
            continue;
        findings_.add(rules::MISSING_ATTRIBUTE, placeOf(leaf.element),
                      Utils::shortQuote(leaf.element.tag()) + " has no " + quote(name));
        isComplete = false;
    }
    return isComplete;
}

void AttributeCheck::checkFlags(const Leaf& leaf) {
    const std::string flags = leaf.value(ovo::steps::ATTR_FLAGS);
    if (leaf.has(ovo::steps::ATTR_FLAGS) && flags != names::FORCE_ACCEPT_STR)
        findings_.add(rules::UNKNOWN_FLAGS, leaf.placeOfAttribute(ovo::steps::ATTR_FLAGS),
                      "the flags " + Utils::shortQuote(flags) +
                          " mean nothing; only \"FORCE_ACCEPT\" does" +
                          suggestion(flags, {names::FORCE_ACCEPT_STR}));
}

void AttributeCheck::checkPeriod(const Leaf& leaf, const std::string& attribute, const Rule& rule) {
    const std::string text = leaf.value(attribute);
    if (text.empty())
        return;
    const std::size_t place = leaf.placeOfAttribute(attribute);
    try {
        const std::string seconds = std::to_string(Utils::convertTimeStringToSeconds(text));
        if (seconds != text)
            findings_.add(rule, place,
                          "the phone makes " + seconds + " of " + Utils::shortQuote(text));
    } catch (const std::logic_error&) {
        findings_.add(rule, place, Utils::shortQuote(text) + " is not a number of seconds");
    }
}

} // namespace ovoctl::check
