// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/ProvisioningFileParser.h"

#include "GlobalConfig.h"
#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"
#include "Vocabulary.h"
#include "filesystem/Filesystem.h"
#include "logger/Logger.h"
#include "text/Quote.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace ovo {

namespace {

using common::xml::Node;

constexpr std::string_view LOWEST_VERSION = "1.0";

/// Destroys a document at the end of a scope.
struct Released {
    std::unique_ptr<common::xml::Document>& document;
    ~Released() { document.reset(); }
};

template <typename Range, typename Value>
bool contains(const Range& range, const Value& value) {
    return std::find(range.begin(), range.end(), value) != range.end();
}

bool equalIgnoringCase(char left, char right) {
    return std::toupper(static_cast<unsigned char>(left)) ==
           std::toupper(static_cast<unsigned char>(right));
}

/// Nothing, with room for the leaf children of an element.
LeafChildren roomForLeaves(const Node& element) {
    std::size_t count = 0;
    std::size_t attributes = 0;
    std::size_t bytes = 0;
    for (const Node child : element) {
        if (!child.empty())
            continue;
        ++count;
        for (const auto& [name, value] : child.attrs()) {
            ++attributes;
            bytes += name.size() + value.size();
        }
    }
    LeafChildren children;
    children.reserve(count, attributes, bytes);
    return children;
}

/// The first few of them.
std::string namesOf(const std::set<std::string>& names) {
    constexpr std::size_t MOST = 5;
    std::string text;
    std::size_t count = 0;
    for (const std::string& name : names) {
        if (count == MOST)
            return text + ", ...";
        text += (count++ == 0 ? "" : ", ") + Utils::shortQuote(name);
    }
    return text;
}

} // namespace

ProvisioningFileParser::ProvisioningFileParser(std::shared_ptr<propertyapi::IPropertyApi> store,
                                               std::shared_ptr<RunReport> runReport)
    : propertyApi(std::move(store)), report(std::move(runReport)) {}

void ProvisioningFileParser::parse(std::string path, std::vector<ProvisioningNode>& nodes) {
    const Released released{document};
    reset(path);
    validate(path);
    leftOut.clear();
    parseNode(document->root(), nodes);
    if (nodes.empty()) {
        LOG(2) << "File " << path << " holds no job";
        report->failed("the file holds no job" + (leftOut.empty() ? "" : ": " + leftOut));
    } else if (!leftOut.empty()) {
        report->remark(leftOut);
    }
}

void ProvisioningFileParser::reset(const std::string& path) {
    std::string text = filesystem::read(path);
    try {
        document = std::make_unique<common::xml::Document>(common::xml::parse(std::move(text)));
        report->suspect({}); // it can be read
    } catch (const common::xml::XmlException& exception) {
        LOG(2) << "file " << path << " is corrupted";
        LOG(2) << "XML error in " << path << ": " << exception.what();
        report->failed(exception.what());
        throw std::runtime_error("File " + path + " is corrupted");
    }
}

void ProvisioningFileParser::validate(const std::string& path) {
    if (!document)
        throw std::runtime_error("xml document not parsed");
    if (verifyMasterNode(document->root()))
        return;
    const std::string found = describe(document->root());
    LOG(2) << "File " << path << " is not for this phone: " << found;
    report->failed("the file is not for this phone: " + found);
    throw std::runtime_error("File " + path + " verification failed");
}

/// Which phone the root names, and which it should name.
std::string ProvisioningFileParser::describe(const Node& root) const {
    if (!contains(XMLParser::MASTER_NODES, root.tag()))
        return "its root element is " + Utils::shortQuote(root.tag());
    const auto attribute = [&root](const char* name) {
        return root.hasAttr(name) ? Utils::shortQuote(root.attr(name)) : std::string("none");
    };
    std::string device = "unknown";
    try {
        device = quote(propertyApi->getValue(keys::MAC_ADDRESS));
    } catch (const std::exception&) {
        // The check could not read it, either.
    }
    return "product ID " + attribute(XMLParser::GLOBAL_ATTR_PRODUCT_ID_STR) +
           " (this phone: \"hd7k\" or \"hd9\"), MAC address " +
           attribute(XMLParser::GLOBAL_ATTR_MAC_ADDRESS_STR) + " (this phone: " + device +
           "), version " + attribute(XMLParser::GLOBAL_ATTR_VERSION_STR) +
           " (readable: " + quote(std::string(LOWEST_VERSION)) + " to " +
           quote(GlobalConfig::PROVISIONING_VERSION) + ")";
}

bool ProvisioningFileParser::verifyMasterNode(const Node& root) {
    if (!contains(XMLParser::MASTER_NODES, root.tag()))
        return false;
    bool verified = false;
    try {
        LOG(1) << root.tag() << " is verifiable";
        const bool id = checkID(root);
        const bool mac = checkMAC(root);
        const bool version = checkVersion(root);
        verified = id && mac && version;
        if (verified)
            LOG(1) << "File verified positively.";
        else
            LOG(3) << "File check error: ID=" << id << " MAC=" << mac << " VER=" << version;
    } catch (const std::exception& exception) {
        LOG(3) << "XML File doesn't meet provisioning requirements. Exception thrown: "
               << exception.what();
    }
    return verified;
}

bool ProvisioningFileParser::checkID(const Node& root) const noexcept {
    const std::string product = root.attr(XMLParser::GLOBAL_ATTR_PRODUCT_ID_STR);
    if (contains(XMLParser::PRODUCTS, product) ||
        !root.hasAttr(XMLParser::GLOBAL_ATTR_PRODUCT_ID_STR))
        return true;
    LOG(2) << "Incorrect product ID " << quote(product);
    return false;
}

bool ProvisioningFileParser::checkMAC(const Node& root) const noexcept {
    const std::string device = propertyApi->getValue(keys::MAC_ADDRESS);
    if (!root.hasAttr(XMLParser::GLOBAL_ATTR_MAC_ADDRESS_STR))
        return true;
    // Only as long as the device's address: the file may append more.
    const std::string meant = root.attr(XMLParser::GLOBAL_ATTR_MAC_ADDRESS_STR);
    return meant.size() >= device.size() &&
           std::equal(device.begin(), device.end(), meant.begin(), equalIgnoringCase);
}

bool ProvisioningFileParser::checkVersion(const Node& root) const noexcept {
    // Texts are compared, not numbers.
    const std::string version = root.attr(XMLParser::GLOBAL_ATTR_VERSION_STR);
    if (version <= GlobalConfig::PROVISIONING_VERSION && version >= LOWEST_VERSION)
        return true;
    LOG(2) << "Incorrect file format version, provisioning not supported";
    return false;
}

void ProvisioningFileParser::parseNode(const Node& element, std::vector<ProvisioningNode>& nodes) {
    ProvisioningNode node{{}, {}, roomForLeaves(element)};
    std::size_t bareElements = 0;
    leafTags.clear();
    bool isTypeNoted = false;
    for (const Node child : element) {
        if (!child.empty()) {
            parseNode(child, nodes);
            isTypeNoted = false;
            continue;
        }
        if (std::string tag = child.tag(); !isTypeNoted || tag != node.type) {
            node.type = std::move(tag);
            leafTags.insert(node.type);
            isTypeNoted = true;
        }
        if (const auto attributes = child.attrs(); attributes.begin() != attributes.end())
            node.children.push(attributes);
        else
            ++bareElements;
    }
    if (bareElements > 0) {
        LOG(2) << "Element " << Utils::shortQuote(element.tag()) << ": " << bareElements
               << " child element(s) without attributes left out";
        leaveOut(element, std::to_string(bareElements) + " child element(s) without attributes");
    }
    if (node.children.empty())
        return;
    if (leafTags.size() > 1) {
        LOG(1) << "XML child nodes have inconsistient names, please verify xml job: "
               << element.tag();
        LOG(2) << "Element " << Utils::shortQuote(element.tag())
               << " left out: its child elements have "
               << "different names (" << namesOf(leafTags) << ")";
        leaveOut(element,
                 "all child elements, which have different names (" + namesOf(leafTags) + ")");
        return;
    }
    node.name = element.tag();
    node.offset = element.offset();
    nodes.push_back(std::move(node));
}

/// Of several the first is told, as of failures.
void ProvisioningFileParser::leaveOut(const Node& element, const std::string& what) {
    if (leftOut.empty())
        leftOut = "left out in element " + Utils::shortQuote(element.tag()) + ": " + what;
}

} // namespace ovo
