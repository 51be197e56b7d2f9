// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "AttributeCheck.h"
#include "DocumentContext.h"
#include "ElementNameCheck.h"
#include "FirmwareCheck.h"
#include "JobElement.h"
#include "LinkCheck.h"
#include "ParameterCheck.h"
#include "ProvisioningNode.h"
#include "StepCheck.h"
#include "UrlCheck.h"
#include "xml/Xml.h"

#include <cstddef>
#include <unordered_map>
#include <vector>

namespace ovoctl::check {

/// Checks one document: walks its elements beside the parser's nodes, and gives each job to the
/// check of its kind.
class DocumentCheck {
public:
    /// context: outlives the check.
    explicit DocumentCheck(const DocumentContext& context) : context_(context) {}

    /// Once.
    void check(const common::xml::Document& document);
    /// What check() found the document to lead to.
    std::vector<LinkCheck::Target> takeTargets() { return links_.takeTargets(); }

private:
    struct Kind;

    void walk(const common::xml::Node& element);
    void checkJob(const JobElement& job);

    static const Kind KINDS[];

    const DocumentContext& context_;
    AttributeCheck attributes_{context_.findings};
    ElementNameCheck names_{context_.findings};
    UrlCheck urls_{context_};
    LinkCheck links_{context_, attributes_, urls_};
    ParameterCheck parameters_{context_, attributes_};
    FirmwareCheck firmware_{context_, attributes_, urls_};
    StepCheck steps_{context_, attributes_, urls_, links_};
    std::vector<ovo::ProvisioningNode> nodes_;
    std::unordered_map<std::size_t, std::size_t> nodeAt_; ///< offset of the element to number
};

} // namespace ovoctl::check
