// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/IProvisioningFileParser.h"
#include "ProvisioningWatchdog/RunReport.h"
#include "propertyapi/IPropertyApi.h"
#include "xml/Xml.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace ovo {

/// Parser of provisioning files: XML whose root is one of the master nodes ("provisioning",
/// "firmware", "nvm", "settings", "custom", "scenario") and carries "version" and optionally
/// "productID" and "macAddress". Every element that directly holds childless elements becomes a
/// node.
class ProvisioningFileParser : public IProvisioningFileParser {
public:
    ProvisioningFileParser(std::shared_ptr<propertyapi::IPropertyApi> store,
                           std::shared_ptr<RunReport> runReport);

    /// The document is destroyed at the end, also after an error.
    void parse(std::string path, std::vector<ProvisioningNode>& nodes) override;

    /// Reads and parses the file; on failure the previous document is kept.
    void reset(const std::string& path);
    /// Throws std::runtime_error unless the document is meant for this phone.
    void validate(const std::string& path);

    /// Checks product, device and format version of the root, always all three.
    bool verifyMasterNode(const common::xml::Node& root);
    // The checks admit no exception: one from the property store ends the process.
    bool checkID(const common::xml::Node& root) const noexcept;
    bool checkMAC(const common::xml::Node& root) const noexcept;
    bool checkVersion(const common::xml::Node& root) const noexcept;

    /// Walks an element. Its node is appended after those of the elements inside it.
    void parseNode(const common::xml::Node& element, std::vector<ProvisioningNode>& nodes);

private:
    std::string describe(const common::xml::Node& root) const;
    void leaveOut(const common::xml::Node& element, const std::string& what);

    std::shared_ptr<propertyapi::IPropertyApi> propertyApi;
    std::unique_ptr<common::xml::Document> document;
    /// Tags of the leaf children seen. Shared by all levels of a walk: an inner element clears what
    /// the outer one has collected so far.
    std::set<std::string> leafTags;
    std::string leftOut; ///< the first thing of the document that no node holds, and why
    std::shared_ptr<RunReport> report;
};

} // namespace ovo
