// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CheckStore.h"
#include "JobHandlers/JobHandlerBuilder.h"
#include "JobHandlers/ProvisioningFileParser.h"
#include "KnownPhone.h"
#include "LocalPhoneBookUpdater.h"
#include "ProvisioningWatchdog/ProgressReporter.h"
#include "ProvisioningWatchdog/RunReport.h"
#include "http/UrlInfo.h"
#include "ipc/IIPCPublisher.h"

#include <json/value.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ovoctl::check {

/// The daemon's own parser, builder and job handlers, over a store in memory. One thread.
class JobBench {
public:
    explicit JobBench(const KnownPhone& phone);
    ~JobBench();
    JobBench(const JobBench&) = delete;
    JobBench& operator=(const JobBench&) = delete;

    ovo::ProvisioningFileParser& parser() { return parser_; }
    const KnownPhone& phone() const { return phone_; }
    /// A new file: forgets what jobs have written.
    void reset() { store_->reset(); }

    std::shared_ptr<ovo::IJobHandler> makeHandler(ovo::ProvisioningNode& node,
                                                  const http::UrlInfo& server) const {
        return builder_.makeJobHandler(node, server);
    }

    /// A parameter that the job refuses.
    struct Refusal {
        std::size_t child; ///< its number
        std::string why;
    };
    /// Runs a node of parameters. Their number must be that of the node's children.
    std::vector<Refusal> refusedParameters(ovo::ProvisioningNode& node,
                                           const http::UrlInfo& server);

    /// Runs one child of a list, or a step that redirects.
    struct Lead {
        std::optional<http::UrlInfo> url; ///< of the file that it leads to
        std::string cause;                ///< of the failure where there is none
    };
    Lead follow(const ovo::ProvisioningNode& node, const ovo::ProvisioningNode::Attributes& child,
                const http::UrlInfo& server);

    /// Runs a step that unlocks the function keys, for the jobs that follow.
    void unlockFunctionKeys(const ovo::ProvisioningNode& node,
                            const ovo::ProvisioningNode::Attributes& step,
                            const http::UrlInfo& server);

private:
    class NoBus;

    Json::Value runReported(ovo::ProvisioningNode& node, const http::UrlInfo& server,
                            ovo::ProvisioningContext& context);
    void refuseIn(ovo::ProvisioningNode& node, std::size_t begin, const http::UrlInfo& server,
                  std::vector<Refusal>& refusals);

    const KnownPhone& phone_;
    const std::shared_ptr<CheckStore> store_;
    const std::shared_ptr<ovo::RunReport> report_ = std::make_shared<ovo::RunReport>();
    const std::unique_ptr<NoBus> bus_;
    ovo::ProgressReporter progress_;
    ovo::LocalPhoneBookUpdater phoneBook_;
    ovo::ProvisioningFileParser parser_;
    const ovo::JobHandlerBuilder builder_;
};

} // namespace ovoctl::check
