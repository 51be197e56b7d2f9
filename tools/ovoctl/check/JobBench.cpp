// SPDX-License-Identifier: Apache-2.0
#include "JobBench.h"

#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"
#include "ipc/IPCMessage.h"

#include <json/reader.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <utility>

namespace ovoctl::check {

namespace {

/// Parameters of one run of a handler: so few that every refusal has its place in the document.
constexpr std::size_t PORTION = 32;
/// What a document says of a name that is as long as this is cut.
constexpr std::size_t LONGEST_NAME = 256;

/// In place of a name that is missing.
const std::string UNREAD = "???";

std::string shownName(const ovo::ProvisioningNode::Attributes& child) {
    const auto name = child.find(ovo::XMLParser::NVM_SETTINGS_PARAM_ATTR_NAME_STR);
    return name ? ovo::Utils::shortened(std::string(*name), LONGEST_NAME) : UNREAD;
}

bool haveDifferentNames(const ovo::LeafChildren& children) {
    std::set<std::string> names;
    return std::all_of(children.begin(), children.end(),
                       [&](const auto& child) { return names.insert(shownName(child)).second; });
}

} // namespace

/// Nothing is sent.
class JobBench::NoBus : public ipc::IIPCPublisher {
public:
    bool isConnected() const override { return false; }
    void publish(const std::string&, const ipc::IPCMessage&) override {}
};

JobBench::JobBench(const KnownPhone& phone)
    : phone_(phone)
    , store_(std::make_shared<CheckStore>(phone.values, phone.areLocksKnown))
    , bus_(std::make_unique<NoBus>())
    , phoneBook_(*store_, nullptr)
    , parser_(store_, report_)
    // What fetches and what installs is not there: the handlers that would need it do not run.
    , builder_(store_, std::make_shared<KnownConfiguration>(phone), nullptr, nullptr, progress_,
               *bus_, phoneBook_, *report_) {}

JobBench::~JobBench() = default;

/// What the report says of the job.
Json::Value JobBench::runReported(ovo::ProvisioningNode& node, const http::UrlInfo& server,
                                  ovo::ProvisioningContext& context) {
    report_->begin({});
    report_->fileBegins(server);
    report_->jobBegins(node.name);
    context = makeHandler(node, server)->run();
    report_->jobEnds(context.status());
    report_->end(context.status(), 0);
    Json::Value document;
    std::istringstream text(report_->document());
    Json::parseFromStream(Json::CharReaderBuilder(), text, &document, nullptr);
    return document["files"][0]["jobs"][0];
}

std::vector<JobBench::Refusal> JobBench::refusedParameters(ovo::ProvisioningNode& node,
                                                           const http::UrlInfo& server) {
    std::vector<Refusal> refusals;
    for (std::size_t begin = 0; begin < node.children.size(); begin += PORTION) {
        ovo::ProvisioningNode portion{node.name, node.type, {}};
        const std::size_t end = std::min(begin + PORTION, node.children.size());
        for (std::size_t child = begin; child < end; ++child)
            portion.children.push(node.children[child]);
        refuseIn(portion, begin, server, refusals);
    }
    store_->completeJob();
    return refusals;
}

void JobBench::refuseIn(ovo::ProvisioningNode& node, std::size_t begin, const http::UrlInfo& server,
                        std::vector<Refusal>& refusals) {
    ovo::ProvisioningContext context;
    const Json::Value job = runReported(node, server, context);
    const Json::Value& refused = job["refused"];
    if (refused.empty())
        return;
    if (!haveDifferentNames(node.children)) { // one by one, to know which of them it is
        for (std::size_t child = 0; child < node.children.size(); ++child) {
            ovo::ProvisioningNode single{node.name, node.type, {}};
            single.children.push(node.children[child]);
            refuseIn(single, begin + child, server, refusals);
        }
        return;
    }
    Json::ArrayIndex next = 0;
    for (std::size_t child = 0; child < node.children.size() && next < refused.size(); ++child) {
        if (refused[next]["name"].asString() != shownName(node.children[child]))
            continue;
        refusals.push_back({begin + child, refused[next]["why"].asString()});
        ++next;
    }
}

JobBench::Lead JobBench::follow(const ovo::ProvisioningNode& node,
                                const ovo::ProvisioningNode::Attributes& child,
                                const http::UrlInfo& server) {
    ovo::ProvisioningNode single{node.name, node.type, {}};
    single.children.push(child);
    ovo::ProvisioningContext context;
    const Json::Value job = runReported(single, server, context);
    if (context.empty())
        return {std::nullopt, job["cause"].asString()};
    return {context.pop().url, {}};
}

void JobBench::unlockFunctionKeys(const ovo::ProvisioningNode& node,
                                  const ovo::ProvisioningNode::Attributes& step,
                                  const http::UrlInfo& server) {
    ovo::ProvisioningNode single{node.name, node.type, {}};
    single.children.push(step);
    ovo::ProvisioningContext context;
    runReported(single, server, context);
}

} // namespace ovoctl::check
