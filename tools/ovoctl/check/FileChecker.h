// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Finding.h"
#include "JobBench.h"
#include "http/UrlInfo.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ovoctl::check {

/// A place that leads to a further provisioning file.
struct Link {
    std::string url; ///< complete, without credentials, placeholders expanded as far as known
    Place place;
};

/// True for six pairs of hexadecimal digits with ":" or "-", always the same, between them.
bool isMacAddress(std::string_view text);

/// What was found in one file.
struct CheckedFile {
    std::vector<Finding> findings;
    std::vector<Link> links;
};

/// Checks one file after another, with the daemon's own parser, builder and handlers. One thread.
class FileChecker {
public:
    /// key: content of the key file; none: encrypted files are not read. Both outlive it.
    FileChecker(const KnownPhone& phone, const std::optional<std::string>& key)
        : bench_(phone), key_(key) {}

    /// address: where the phone finds the file; made up, with https, where that is not known.
    CheckedFile check(std::string content, const http::UrlInfo& address);

private:
    struct Leaf;
    struct JobElement;

    bool decryptContent(std::string& content);
    void checkDocument(const std::string& content);
    bool checkRoot(const common::xml::Node& root);
    void checkMac(const common::xml::Node& root);
    void walk(const common::xml::Node& element, bool isRoot);
    void checkElementAttributes(const common::xml::Node& element, bool isRoot);
    void checkNames(const common::xml::Node& element, const std::vector<Leaf>& leaves,
                    bool isLeftOut);
    void checkJob(ovo::ProvisioningNode& node, const JobElement& element);
    void checkParameters(ovo::ProvisioningNode& node, const JobElement& element);
    void checkKey(const Leaf& leaf);
    void checkList(const ovo::ProvisioningNode& node, const JobElement& element);
    void checkListed(const ovo::ProvisioningNode& node, const Leaf& leaf);
    void checkFirmware(const JobElement& element);
    void checkFirmwareVersion(const Leaf& leaf);
    void checkSteps(const ovo::ProvisioningNode& node, const JobElement& element);
    void checkStep(const ovo::ProvisioningNode& node, const Leaf& leaf);
    void checkStepValues(const ovo::ProvisioningNode& node, const Leaf& leaf);
    void checkUnknownJob(const ovo::ProvisioningNode& node, const JobElement& element);
    void checkLeafNames(const JobElement& element, std::string_view expected);
    bool checkAttributes(const Leaf& leaf, const std::vector<std::string_view>& read,
                         const std::vector<std::string_view>& needed);
    void checkFlags(const Leaf& leaf);
    void checkPeriod(const Leaf& leaf, const char* attribute, const Rule& rule);
    void checkUrl(const Leaf& leaf, bool isSecret, bool keepsName);
    void checkFileName(const Leaf& leaf, const std::string& name);
    void checkReach(const Leaf& leaf, const http::UrlInfo& url, bool isSecret);
    void followLink(const ovo::ProvisioningNode& node, const Leaf& leaf);
    std::string urlFault(const std::string& url) const;

    JobBench bench_;
    const std::optional<std::string>& key_;

    // Of the file in hand
    http::UrlInfo address_;
    bool isEncrypted_ = false;
    FindingCollector findings_;
    std::vector<ovo::ProvisioningNode> nodes_;
    std::unordered_map<std::size_t, std::size_t> nodeAt_; ///< offset of the element to number
    std::unordered_map<std::string, std::size_t> keys_;   ///< to the offset where it came first
    std::vector<std::pair<std::string, std::size_t>> links_;
};

} // namespace ovoctl::check
