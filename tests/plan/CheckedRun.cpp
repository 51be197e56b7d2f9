// SPDX-License-Identifier: Apache-2.0
#include "CheckedRun.h"

#include "Phone.h"
#include "http/formatPath.h"
#include "xml/Xml.h"

#include <gmock/gmock.h>
#include <json/writer.h> // what fails is printed

#include <algorithm>
#include <string_view>
#include <utility>

using checkprogram::Finding;
using common::xml::Node;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using Rules = std::vector<std::string_view>;

/// Faults of a whole file: nothing in it is done.
const Rules OF_FILES = {"not-well-formed", "encryption",  "no-job", "root",
                        "product",         "mac-address", "version"};
/// Faults of which the phone says nothing but that it leaves something out.
const Rules LEFT_OUT = {"mixed-children", "unknown-step"};

bool isOneOf(const Finding& finding, const Rules& rules) {
    return std::find(rules.begin(), rules.end(), finding.rule) != rules.end();
}

const Finding* find(const std::vector<Finding>& findings, const Rules& rules) {
    const auto found = std::find_if(findings.begin(), findings.end(), [&](const Finding& finding) {
        return isOneOf(finding, rules);
    });
    return found == findings.end() ? nullptr : &*found;
}

bool isBefore(const Place& left, const Place& right) {
    return std::pair(left.line, left.column) < std::pair(right.line, right.column);
}

bool holdsError(const std::vector<Finding>& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.level == "error"; });
}

} // namespace

/// An element with the findings in its own tag.
struct CheckedRun::Element {
    Node node;
    Place place;
    std::vector<Finding> findings;
    std::vector<Element> children;

    bool hasAttributes() const { return node.attrs().begin() != Node::AttributeRange::end(); }
    bool isLeaf() const { return children.empty(); }
    /// The leaves that a job is made of.
    std::vector<const Element*> leaves() const {
        std::vector<const Element*> found;
        for (const Element& child : children)
            if (child.isLeaf() && child.hasAttributes())
                found.push_back(&child);
        return found;
    }
    /// True where a finding says that no job is made of the leaves.
    bool isLeftOut() const {
        const auto saysSo = [](const Element& element) {
            const Finding* const mixed = find(element.findings, {"mixed-children"});
            return mixed != nullptr && mixed->sentence.find("left out") != std::string::npos;
        };
        return saysSo(*this) ||
               std::any_of(children.begin(), children.end(),
                           [&](const Element& child) { return child.isLeaf() && saysSo(child); });
    }
};

struct CheckedRun::Document {
    Document(const std::string& text, const std::vector<Finding>& findings)
        : document(common::xml::parse(text)), root(elementOf(document.root())) {
        PlaceFinder finder(text);
        giveAPlace(root, finder);
        for (const Finding& finding : findings)
            ownerOf(finding.place, root)->findings.push_back(finding);
    }

    /// In the order of the daemon: what is inside comes first.
    std::vector<const Element*> jobs() const {
        std::vector<const Element*> found;
        collectJobs(root, found);
        return found;
    }

    common::xml::Document document;
    Element root;

private:
    static Element elementOf(const Node& node) {
        Element element{node, {}, {}, {}};
        for (const Node child : node)
            element.children.push_back(elementOf(child));
        return element;
    }
    static void giveAPlace(Element& element, PlaceFinder& finder) {
        element.place = finder.at(element.node.offset() - 1);
        for (Element& child : element.children)
            giveAPlace(child, finder);
    }
    /// The last element that begins at the place or before it.
    static Element* ownerOf(const Place& place, Element& element) {
        Element* owner = &element;
        for (Element& child : element.children)
            if (!isBefore(place, child.place))
                owner = ownerOf(place, child);
        return owner;
    }
    static void collectJobs(const Element& element, std::vector<const Element*>& found) {
        for (const Element& child : element.children)
            collectJobs(child, found);
        if (!element.leaves().empty() && !element.isLeftOut())
            found.push_back(&element);
    }
};

CheckedRun::CheckedRun(const Json::Value& report, const checkprogram::Checked& checked,
                       const std::map<std::string, std::string>& contents,
                       const std::vector<std::string>& outside)
    : report_(report), checked_(checked), contents_(contents), outside_(outside) {}

void CheckedRun::expectAgreement() {
    for (const Json::Value& file : report_["files"])
        compareFile(file);
    EXPECT_EQ(report_["files"].size(), followed_);
    for (const std::string& cause : outside_)
        EXPECT_TRUE(occurred_.contains(cause)) << cause;

    bool areGood = true;
    bool isFine = true;
    for (const auto& [name, findings] : checked_.findings) {
        areGood = areGood && !holdsError(findings);
        isFine =
            isFine && std::all_of(findings.begin(), findings.end(),
                                  [](const Finding& finding) { return finding.level == "note"; });
    }
    const bool isUnreadable = checked_.output.find("ovoctl: ") != std::string::npos;
    EXPECT_EQ(checked_.status, isUnreadable ? 3 : isFine ? 0 : 1) << checked_.output;
    EXPECT_TRUE(report_["result"] == "success" || !areGood || !outside_.empty())
        << report_["cause"];
}

void CheckedRun::compareFile(const Json::Value& file) {
    const std::string url = file["url"].asString();
    SCOPED_TRACE(url);
    if (file["httpStatus"].asInt() != 200)
        return compareUnfetched(file);
    const auto found = checked_.findings.find(url);
    const Findings findings = found == checked_.findings.end() ? Findings() : found->second;
    const bool isRefused = find(findings, OF_FILES) != nullptr;
    EXPECT_EQ(isRefused, file["status"] == "fail" && file["jobs"].empty()) << file;
    if (isRefused)
        return compareRefused(file, findings);

    const auto content = contents_.find(url);
    ASSERT_NE(content, contents_.end());
    const Document document(content->second, findings);
    const std::vector<const Element*> elements = document.jobs();
    std::vector<std::string> expected;
    for (const Element* element : elements)
        expected.push_back(element->node.tag());
    std::vector<std::string> jobs;
    for (const Json::Value& job : file["jobs"])
        jobs.push_back(job["element"].asString());
    ASSERT_EQ(expected, jobs);
    for (Json::ArrayIndex job = 0; job < file["jobs"].size(); ++job)
        compareJob(file["jobs"][job], *elements[job]);
}

/// Nobody could check it: the server or what leads to it is the reason.
void CheckedRun::compareUnfetched(const Json::Value& file) {
    const std::string url = file["url"].asString();
    EXPECT_EQ(file["status"], "fail");
    if (std::any_of(unreachable_.begin(), unreachable_.end(),
                    [&](const std::string& end) { return url.ends_with(end); }))
        return;
    EXPECT_TRUE(isOutside(file["cause"].asString())) << file["cause"];
    EXPECT_THAT(checked_.output, HasSubstr("ovoctl: " + url + " cannot be fetched: "));
}

void CheckedRun::compareRefused(const Json::Value& file, const Findings& findings) {
    const std::string cause = file["cause"].asString();
    const Finding& finding = *find(findings, OF_FILES);
    if (finding.rule == "not-well-formed")
        EXPECT_THAT(cause, HasSubstr("line " + std::to_string(finding.place.line) + ", column " +
                                     std::to_string(finding.place.column) + ": "));
    else if (finding.rule == "encryption")
        EXPECT_THAT(cause, HasSubstr(", column ")); // somewhere in what is no XML
    else if (finding.rule == "no-job")
        EXPECT_THAT(cause, StartsWith("the file holds no job"));
    else
        EXPECT_THAT(cause, HasSubstr("the file is not for this phone"));
}

void CheckedRun::compareJob(const Json::Value& job, const Element& element) {
    SCOPED_TRACE(element.node.tag() + " in line " + std::to_string(element.place.line));
    const bool isUnknown = find(element.findings, {"unknown-job"}) != nullptr ||
                           find(element.leaves().front()->findings, {"unknown-job"}) != nullptr;
    const std::string handler = job["job"].asString();
    EXPECT_EQ(isUnknown, job["cause"].asString().ends_with("is not a job")) << job;
    if (isUnknown)
        EXPECT_EQ(job["status"], "fail");
    else if (handler == "NVMJobHandler")
        compareParameters(job, element);
    else if (handler == "FileDownloadHandler")
        compareList(job, element);
    else if (handler == "FirmwareJobHandler")
        compareFirmware(job, element);
    else if (handler == "CustomScenarioJobHandler")
        compareSteps(job, element);
    else
        ADD_FAILURE() << job;
}

void CheckedRun::compareFailure(const Json::Value& reported, bool isExpected) {
    const bool hasFailed = reported["status"] == "fail";
    EXPECT_EQ(hasFailed, isExpected || (hasFailed && isOutside(reported["cause"].asString())))
        << reported;
}

void CheckedRun::compareParameters(const Json::Value& job, const Element& element) {
    Json::ArrayIndex next = 0;
    const std::vector<const Element*> leaves = element.leaves();
    for (const Element* leaf : leaves) {
        const Finding* const missing = find(leaf->findings, {"missing-attribute"});
        const Finding* const refused = find(leaf->findings, {"refused-parameter"});
        if (missing == nullptr && refused == nullptr)
            continue;
        const Json::Value entry = job["refused"].get(next++, Json::Value());
        const std::string why = entry["why"].asString();
        EXPECT_EQ(entry["name"].asString(),
                  leaf->node.hasAttr("name") ? leaf->node.attr("name") : "???");
        if (refused != nullptr)
            EXPECT_THAT(refused->sentence, EndsWith(": " + why));
        else
            EXPECT_THAT(why, HasSubstr(leaf->node.hasAttr("name") ? "value" : "name"));
    }
    EXPECT_EQ(job["refused"].size(), next) << job;
    EXPECT_EQ(job["requested"].asUInt(), leaves.size());
    EXPECT_EQ(job["attempted"].asUInt(), leaves.size() - next);
    compareFailure(job, next == leaves.size());
}

/// Counts a file that is followed, and notes where a finding says that it cannot be fetched.
bool CheckedRun::leadsOn(const Element& leaf) {
    for (const Finding& finding : leaf.findings)
        if (finding.rule == "missing-attribute" || finding.rule == "category" ||
            (finding.rule == "url" && finding.sentence.find("supported") == std::string::npos))
            return false;
    ++followed_;
    if (find(leaf.findings, {"url", "file-name"}) != nullptr)
        unreachable_.insert(http::formatPath(leaf.node.attr("url"), Phone::MAC, "hd7k", "2"));
    return true;
}

void CheckedRun::compareList(const Json::Value& job, const Element& element) {
    std::size_t bad = 0;
    for (const Element* leaf : element.leaves())
        bad += leadsOn(*leaf) ? 0U : 1U;
    compareFailure(job, bad > 0);
}

void CheckedRun::compareFirmware(const Json::Value& job, const Element& element) {
    // What nobody looks at now may be wrong all the same.
    if (job["firmware"]["decision"].asString().starts_with("skipped: "))
        return compareFailure(job, false);
    bool isBad = false;
    for (const Element* leaf : element.leaves())
        isBad = isBad || holdsError(leaf->findings);
    compareFailure(job, isBad);
}

void CheckedRun::compareSteps(const Json::Value& job, const Element& element) {
    const std::vector<const Element*> leaves = element.leaves();
    ASSERT_EQ(job["steps"].size(), leaves.size());
    bool hasFailed = false;
    for (Json::ArrayIndex number = 0; number < leaves.size(); ++number) {
        const Element& leaf = *leaves[number];
        const Json::Value& step = job["steps"][number];
        SCOPED_TRACE("step in line " + std::to_string(leaf.place.line));
        EXPECT_EQ(step["type"].asString(), leaf.node.attr("type"));
        EXPECT_EQ(step["status"] == "unknown", find(leaf.findings, {"unknown-step"}) != nullptr);
        hasFailed = hasFailed || step["status"] == "fail";
        if (step["type"] == "Redirect")
            compareFailure(step, !leadsOn(leaf));
        else
            compareFailure(step, std::any_of(leaf.findings.begin(), leaf.findings.end(),
                                             [](const Finding& finding) {
                                                 return finding.level == "error" &&
                                                        !isOneOf(finding, LEFT_OUT);
                                             }));
    }
    EXPECT_EQ(job["status"] == "fail", hasFailed);
}

bool CheckedRun::isOutside(const std::string& cause) {
    for (const std::string& part : outside_)
        if (cause.find(part) != std::string::npos) {
            occurred_.insert(part);
            return true;
        }
    return false;
}
