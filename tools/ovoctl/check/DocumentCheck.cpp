// SPDX-License-Identifier: Apache-2.0
#include "DocumentCheck.h"

#include "JobHandlers/CustomScenarioJobHandler.h"
#include "JobHandlers/FileDownloadHandler.h"
#include "JobHandlers/FirmwareJobHandler.h"
#include "JobHandlers/NVMJobHandler.h"
#include "JobHandlers/XMLNodeType.h"
#include "RootCheck.h"

#include <memory>
#include <utility>

namespace ovoctl::check {

namespace {

namespace names = ovo::XMLParser;
using common::xml::Node;

template <typename Handler>
bool isA(const ovo::IJobHandler& handler) {
    return dynamic_cast<const Handler*>(&handler) != nullptr;
}

bool hasAttributes(const Node& element) {
    return element.attrs().begin() != Node::AttributeRange::end();
}

} // namespace

/// A kind of job, told by the handler that the daemon's builder chooses.
struct DocumentCheck::Kind {
    bool (*handles)(const ovo::IJobHandler& handler);
    /// What its leaves count as, whatever they are called; nullptr: only what they are called.
    const char* leaf;
    void (*check)(DocumentCheck& self, const JobElement& job);
};

const DocumentCheck::Kind DocumentCheck::KINDS[]{
    {isA<ovo::NVMJobHandler>, names::NVM_SETTINGS_PARAM_STR,
     [](DocumentCheck& self, const JobElement& job) {
         self.parameters_.check(job);
     }},
    {isA<ovo::FileDownloadHandler>, nullptr,
     [](DocumentCheck& self, const JobElement& job) {
         self.links_.checkList(job);
     }},
    {isA<ovo::FirmwareJobHandler>, names::FIRMWARE_FILE_STR,
     [](DocumentCheck& self, const JobElement& job) {
         self.firmware_.check(job);
     }},
    {isA<ovo::CustomScenarioJobHandler>, names::CUSTOM_STEP_STR,
     [](DocumentCheck& self, const JobElement& job) {
         self.steps_.check(job);
     }},
};

void DocumentCheck::check(const common::xml::Document& document) {
    const Node root = document.root();
    if (!RootCheck(context_).check(root))
        return;
    context_.bench.parser().parseNode(root, nodes_);
    for (std::size_t node = 0; node < nodes_.size(); ++node)
        nodeAt_.emplace(nodes_[node].offset, node);
    if (nodes_.empty())
        context_.findings.add(rules::NO_JOB, placeOf(root), "the file holds no job");
    attributes_.checkRoot(root);
    walk(root);
}

/// In the order in which the daemon runs the jobs: what is inside comes first.
void DocumentCheck::walk(const Node& element) {
    std::vector<Leaf> leaves;
    for (const Node child : element) {
        if (!child.empty()) {
            attributes_.checkHolder(child);
            walk(child);
        } else if (hasAttributes(child)) {
            leaves.push_back({child});
        } else {
            names_.checkBare(child);
        }
    }
    const auto number = nodeAt_.find(element.offset());
    const bool isJob = number != nodeAt_.end();
    names_.checkMixed(element, leaves, isJob);
    if (!isJob) {
        if (leaves.empty())
            names_.checkHolder(element);
        return;
    }
    ovo::ProvisioningNode& node = nodes_[number->second];
    for (std::size_t leaf = 0; leaf < leaves.size(); ++leaf)
        leaves[leaf].attributes = node.children[leaf];
    checkJob({element, node, std::move(leaves)});
    node.children = {}; // done with; keeps the peak low
}

void DocumentCheck::checkJob(const JobElement& job) {
    const auto handler = context_.bench.makeHandler(job.node, context_.address);
    for (const Kind& kind : KINDS) {
        if (!kind.handles(*handler))
            continue;
        if (kind.leaf != nullptr)
            names_.checkLeaves(job, kind.leaf);
        return kind.check(*this, job);
    }
    names_.checkUnknown(job);
}

} // namespace ovoctl::check
