// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Finding.h"
#include "JobElement.h"
#include "WordList.h"
#include "xml/Xml.h"

#include <string>

namespace ovoctl::check {

/// The attributes of one kind of element.
struct KnownAttributes {
    WordList needed;
    WordList optional;
};

/// Attributes that nothing reads, that come twice and that are missing, and the values of
/// some of them.
class AttributeCheck {
public:
    /// findings: outlives the check.
    explicit AttributeCheck(FindingCollector& findings) : findings_(findings) {}

    void checkRoot(const common::xml::Node& root);
    /// Of an element that holds others and is not the root: no attribute is read there.
    void checkHolder(const common::xml::Node& element);
    /// False: a needed one is missing.
    bool checkLeaf(const Leaf& leaf, const KnownAttributes& known);
    /// Where "FORCE_ACCEPT" is the only value with a meaning.
    void checkFlags(const Leaf& leaf);
    /// Where the phone reads seconds; an empty value has a meaning of its own.
    void checkPeriod(const Leaf& leaf, const std::string& attribute, const Rule& rule);

private:
    template <typename Visitor>
    void forEachFirst(const common::xml::Node& element, Visitor visit);

    FindingCollector& findings_;
};

} // namespace ovoctl::check
