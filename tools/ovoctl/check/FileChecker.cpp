// SPDX-License-Identifier: Apache-2.0
#include "FileChecker.h"

#include "Encryption.h"
#include "GlobalConfig.h"
#include "JobHandlers/CustomScenarioJobHandler.h"
#include "JobHandlers/FileDownloadHandler.h"
#include "JobHandlers/FirmwareJobHandler.h"
#include "JobHandlers/NVMJobHandler.h"
#include "JobHandlers/StepTypes.h"
#include "JobHandlers/XMLNodeType.h"
#include "Suggestion.h"
#include "Utils.h"
#include "Vocabulary.h"
#include "filesystem/posix/AtomicFile.h"
#include "firmware/HaldenFirmwareVersion.h"
#include "http/UrlException.h"
#include "http/formatPath.h"
#include "text/Ascii.h"
#include "text/Number.h"
#include "text/Quote.h"
#include "xml/Xml.h"

#include <algorithm>
#include <set>
#include <utility>

namespace ovoctl::check {

namespace {

namespace names = ovo::XMLParser;
namespace steps = ovo::steps;
using common::xml::Node;
using ovo::Utils;
using version::HaldenFirmwareVersion;

using Words = std::vector<std::string_view>;

constexpr std::string_view STATE = "State.";
/// A directory of the phone that does not exist: only the name of a file in it matters.
const std::string NOWHERE = "/nowhere-at-all/";
/// Attributes of the root.
const Words ROOT_ATTRIBUTES{names::GLOBAL_ATTR_VERSION_STR, names::GLOBAL_ATTR_PRODUCT_ID_STR,
                            names::GLOBAL_ATTR_MAC_ADDRESS_STR};
/// Names of elements that directly hold childless ones, and of those.
const Words JOB_ELEMENTS(names::MASTER_NODES.begin(), names::MASTER_NODES.end());
const Words LEAVES{names::NVM_SETTINGS_PARAM_STR, names::DOWNLOADABLE_FILE_STR,
                   names::PROVISIONING_CATEGORY_STR, names::CUSTOM_STEP_STR};

template <typename Range>
bool contains(const Range& range, std::string_view value) {
    return std::find(range.begin(), range.end(), value) != range.end();
}

/// The element's "<".
std::size_t placeOf(const Node& element) {
    return element.offset() - 1;
}

bool isPlain(const http::UrlInfo& url) {
    return ascii::equalsIgnoringCase(url.scheme, "http");
}

bool isWeb(const http::UrlInfo& url) {
    return isPlain(url) || ascii::equalsIgnoringCase(url.scheme, "https");
}

bool isPairSeparator(char character) {
    return character == ':' || character == '-';
}

bool isHexadecimal(char character) {
    const char lower = ascii::lower(character);
    return (lower >= '0' && lower <= '9') || (lower >= 'a' && lower <= 'f');
}

} // namespace

bool isMacAddress(std::string_view text) {
    constexpr std::size_t SIZE = 17;
    constexpr std::size_t STRIDE = 3;
    if (text.size() != SIZE)
        return false;
    for (std::size_t at = 0; at < SIZE; ++at)
        if (at % STRIDE == 2 ? text[at] != text[2] || !isPairSeparator(text[at])
                             : !isHexadecimal(text[at]))
            return false;
    return true;
}

/// A childless element with attributes.
struct FileChecker::Leaf {
    Node element;
    const ovo::ProvisioningNode::Attributes* attributes = nullptr; ///< as the job sees them

    bool has(std::string_view name) const {
        return attributes->find(std::string(name)) != attributes->end();
    }
    std::string value(std::string_view name) const {
        const auto found = attributes->find(std::string(name));
        return found == attributes->end() ? std::string() : found->second;
    }
    /// Of the attribute, or of the element where it has none of that name.
    std::size_t placeOfAttribute(std::string_view name) const {
        for (const Node::Attribute attribute : element.attrs())
            if (attribute.name == name)
                return element.offset(attribute);
        return placeOf(element);
    }
};

/// The element of a job and its childless elements with attributes, in the order of the node's
/// children.
struct FileChecker::JobElement {
    Node element;
    std::vector<Leaf> leaves;
};

CheckedFile FileChecker::check(std::string content, const http::UrlInfo& address) {
    address_ = address;
    findings_ = {};
    nodes_.clear();
    nodeAt_.clear();
    keys_.clear();
    links_.clear();
    bench_.reset();
    if (decryptContent(content))
        checkDocument(content);

    std::sort(links_.begin(), links_.end(),
              [](const auto& left, const auto& right) { return left.second < right.second; });
    CheckedFile result;
    PlaceFinder finder(content);
    for (auto& [url, offset] : links_)
        result.links.push_back({std::move(url), finder.at(offset)});
    result.findings = findings_.take(content);
    return result;
}

/// False: there is nothing to be read.
bool FileChecker::decryptContent(std::string& content) {
    isEncrypted_ = isEncrypted(content);
    if (!isEncrypted_) {
        const std::string disguise = disguiseOf(content);
        if (!disguise.empty())
            findings_.add(rules::ENCRYPTION, 0, disguise);
        else
            findings_.add(rules::PLAIN, 0, "the file is not encrypted");
        return disguise.empty();
    }
    if (!key_) {
        findings_.add(rules::ENCRYPTED, 0,
                      "the file is encrypted and was not read; name the key file with --key");
        return false;
    }
    Decrypted decrypted = decrypt(content, *key_);
    if (!decrypted.plain) {
        findings_.add(rules::ENCRYPTION, 0, decrypted.fault);
        return false;
    }
    content = std::move(*decrypted.plain);
    return true;
}

void FileChecker::checkDocument(const std::string& content) {
    try {
        const common::xml::Document document = common::xml::parse(content);
        if (!checkRoot(document.root()))
            return;
        bench_.parser().parseNode(document.root(), nodes_);
        for (std::size_t node = 0; node < nodes_.size(); ++node)
            nodeAt_.emplace(nodes_[node].offset, node);
        if (nodes_.empty())
            findings_.add(rules::NO_JOB, placeOf(document.root()), "the file holds no job");
        walk(document.root(), true);
    } catch (const common::xml::XmlException& exception) {
        const std::string fault = exception.fault().empty() ? exception.what() : exception.fault();
        const std::string start = ascii::lowerCase(content.substr(0, 512));
        const bool isPage = start.find("<!doctype html") != std::string::npos ||
                            start.find("<html") != std::string::npos;
        findings_.addAt(rules::NOT_WELL_FORMED, exception.place(),
                        isPage ? fault + "; the file is an HTML page" : fault);
    }
}

/// False: the rest means nothing.
bool FileChecker::checkRoot(const Node& root) {
    const ovo::ProvisioningFileParser& parser = bench_.parser();
    if (!contains(names::MASTER_NODES, root.tag())) {
        const bool isPage = ascii::equalsIgnoringCase(root.tag(), "html");
        findings_.add(
            rules::ROOT, placeOf(root),
            "the root element " + Utils::shortQuote(root.tag()) +
                " is none of a provisioning file" +
                (isPage ? "; the file is an HTML page" : suggestion(root.tag(), JOB_ELEMENTS)));
        return false;
    }
    const auto place = [&root](const char* name) {
        return Leaf{root}.placeOfAttribute(name);
    };
    const std::string product = root.attr(names::GLOBAL_ATTR_PRODUCT_ID_STR);
    const std::string& wanted = bench_.phone().product;
    if (!parser.checkID(root))
        findings_.add(
            rules::PRODUCT, place(names::GLOBAL_ATTR_PRODUCT_ID_STR),
            "the product " + Utils::shortQuote(product) + " is neither \"hd7k\" nor \"hd9\"" +
                suggestion(product, Words(names::PRODUCTS.begin(), names::PRODUCTS.end())));
    else if (!wanted.empty() && !product.empty() && product != wanted)
        findings_.add(rules::OTHER_PRODUCT, place(names::GLOBAL_ATTR_PRODUCT_ID_STR),
                      "the file is for " + quote(product) + ", not for " + quote(wanted) +
                          "; the phone takes it all the same");
    checkMac(root);
    if (parser.checkVersion(root))
        return true;
    const std::string range = "; the phone reads \"1.0\" to " +
                              quote(ovo::GlobalConfig::PROVISIONING_VERSION) + ", compared as text";
    const bool isGiven = root.hasAttr(names::GLOBAL_ATTR_VERSION_STR);
    findings_.add(rules::VERSION, place(names::GLOBAL_ATTR_VERSION_STR),
                  isGiven ? "the version " +
                                Utils::shortQuote(root.attr(names::GLOBAL_ATTR_VERSION_STR)) +
                                " is not readable" + range
                          : "the root element has no \"version\"" + range);
    return true;
}

void FileChecker::checkMac(const Node& root) {
    if (!root.hasAttr(names::GLOBAL_ATTR_MAC_ADDRESS_STR))
        return;
    const std::string mac = root.attr(names::GLOBAL_ATTR_MAC_ADDRESS_STR);
    const std::size_t place = Leaf{root}.placeOfAttribute(names::GLOBAL_ATTR_MAC_ADDRESS_STR);
    if (!bench_.parser().checkMAC(root))
        findings_.add(rules::MAC_ADDRESS, place,
                      "the file is for the phone " + Utils::shortQuote(mac) + ", not for " +
                          quote(bench_.phone().macAddress()));
    if (!isMacAddress(mac))
        findings_.add(rules::MAC_FORMAT, place,
                      Utils::shortQuote(mac) + " is not a MAC address as \"02:1A:2B:3C:4D:5E\"");
}

/// In the order in which the daemon runs the jobs: what is inside comes first.
void FileChecker::walk(const Node& element, bool isRoot) {
    checkElementAttributes(element, isRoot);
    const auto number = nodeAt_.find(element.offset());
    const bool isJob = number != nodeAt_.end();
    std::vector<Leaf> leaves;
    for (const Node child : element) {
        if (!child.empty()) {
            walk(child, false);
            continue;
        }
        if (child.attrs().begin() == Node::AttributeRange::end())
            findings_.add(rules::BARE_ELEMENT, placeOf(child),
                          "the element " + Utils::shortQuote(child.tag()) +
                              " has no attributes and is left out");
        else
            leaves.push_back({child});
    }
    checkNames(element, leaves, !isJob);
    if (!isJob) {
        if (leaves.empty() && !contains(JOB_ELEMENTS, element.tag()))
            findings_.add(rules::UNREAD_ELEMENT, placeOf(element),
                          "the element " + Utils::shortQuote(element.tag()) +
                              " means nothing; only what is inside it counts" +
                              suggestion(element.tag(), JOB_ELEMENTS));
        return;
    }
    ovo::ProvisioningNode& node = nodes_[number->second];
    for (std::size_t leaf = 0; leaf < leaves.size(); ++leaf)
        leaves[leaf].attributes = &node.children.at(leaf);
    checkJob(node, {element, std::move(leaves)});
    node.children = {}; // done with; keeps the peak low
}

/// Of an element that holds others; only the root's are read.
void FileChecker::checkElementAttributes(const Node& element, bool isRoot) {
    std::set<std::string_view> seen;
    for (const Node::Attribute attribute : element.attrs()) {
        const std::string name(attribute.name);
        if (!seen.insert(attribute.name).second)
            findings_.add(rules::REPEATED_ATTRIBUTE, element.offset(attribute),
                          "the attribute " + Utils::shortQuote(name) +
                              " comes twice; the first one counts");
        else if (!isRoot)
            findings_.add(
                rules::UNREAD_ATTRIBUTE, element.offset(attribute),
                "nothing reads the attribute " + Utils::shortQuote(name) + " of " +
                    Utils::shortQuote(element.tag()) +
                    (contains(ROOT_ATTRIBUTES, name) ? "; it belongs to the root element" : ""));
        else if (!contains(ROOT_ATTRIBUTES, name))
            findings_.add(rules::UNREAD_ATTRIBUTE, element.offset(attribute),
                          "nothing reads the attribute " + Utils::shortQuote(name) +
                              " of the root element" + suggestion(name, ROOT_ATTRIBUTES));
    }
}

/// Childless elements of one element have one name. isLeftOut: the parser made no job of it.
void FileChecker::checkNames(const Node& element, const std::vector<Leaf>& leaves, bool isLeftOut) {
    const auto other = std::find_if(leaves.begin(), leaves.end(), [&](const Leaf& leaf) {
        return leaf.element.tag() != leaves.front().element.tag();
    });
    const bool areMixed = other != leaves.end();
    if (leaves.empty() || (!areMixed && !isLeftOut))
        return;
    std::string sentence = "the element " + Utils::shortQuote(element.tag());
    if (areMixed)
        sentence += " holds " + Utils::shortQuote(leaves.front().element.tag()) + " and " +
                    Utils::shortQuote(other->element.tag());
    else
        sentence += " holds childless elements of another name, or one without attributes, or one "
                    "inside an element before them";
    sentence += isLeftOut ? ", so all of them are left out" : ", which count as one and the same";
    if (areMixed) // one of them may be a slip
        sentence += contains(LEAVES, leaves.front().element.tag())
                        ? suggestion(other->element.tag(), LEAVES)
                        : suggestion(leaves.front().element.tag(), LEAVES);
    findings_.add(rules::MIXED_CHILDREN, placeOf(areMixed ? other->element : element),
                  std::move(sentence));
}

void FileChecker::checkJob(ovo::ProvisioningNode& node, const JobElement& element) {
    const auto handler = bench_.makeHandler(node, address_);
    const ovo::IJobHandler* const job = handler.get();
    if (dynamic_cast<const ovo::NVMJobHandler*>(job) != nullptr)
        checkParameters(node, element);
    else if (dynamic_cast<const ovo::FileDownloadHandler*>(job) != nullptr)
        checkList(node, element);
    else if (dynamic_cast<const ovo::FirmwareJobHandler*>(job) != nullptr)
        checkFirmware(element);
    else if (dynamic_cast<const ovo::CustomScenarioJobHandler*>(job) != nullptr)
        checkSteps(node, element);
    else
        checkUnknownJob(node, element);
}

void FileChecker::checkUnknownJob(const ovo::ProvisioningNode& node, const JobElement& element) {
    const std::string ofElement = suggestion(node.name, JOB_ELEMENTS);
    const std::string ofLeaf = suggestion(node.type, LEAVES);
    findings_.add(rules::UNKNOWN_JOB,
                  placeOf(ofElement.empty() && !ofLeaf.empty() ? element.leaves.front().element
                                                               : element.element),
                  "the element " + Utils::shortQuote(node.name) + " with " +
                      Utils::shortQuote(node.type) + " in it is not a job" +
                      (ofElement.empty() ? ofLeaf : ofElement));
}

/// Where any name counts as the expected one.
void FileChecker::checkLeafNames(const JobElement& element, std::string_view expected) {
    for (const Leaf& leaf : element.leaves) {
        const std::string tag = leaf.element.tag();
        if (tag != expected)
            findings_.add(rules::UNREAD_ELEMENT, placeOf(leaf.element),
                          "the element " + Utils::shortQuote(tag) + " counts as " +
                              quote(std::string(expected)) + " here, whatever its name" +
                              suggestion(tag, {expected}));
    }
}

/// False: a needed one is missing.
bool FileChecker::checkAttributes(const Leaf& leaf, const Words& read, const Words& needed) {
    const std::string tag = leaf.element.tag();
    std::set<std::string_view> seen;
    for (const Node::Attribute attribute : leaf.element.attrs()) {
        const std::string name(attribute.name);
        if (!seen.insert(attribute.name).second)
            findings_.add(rules::REPEATED_ATTRIBUTE, leaf.element.offset(attribute),
                          "the attribute " + Utils::shortQuote(name) +
                              " comes twice; the first one counts");
        else if (!contains(read, name))
            findings_.add(rules::UNREAD_ATTRIBUTE, leaf.element.offset(attribute),
                          "nothing reads the attribute " + Utils::shortQuote(name) + " of " +
                              Utils::shortQuote(tag) + suggestion(name, read));
    }
    bool isComplete = true;
    for (const std::string_view name : needed) {
        if (leaf.has(name))
            continue;
        findings_.add(rules::MISSING_ATTRIBUTE, placeOf(leaf.element),
                      Utils::shortQuote(tag) + " has no " + quote(std::string(name)));
        isComplete = false;
    }
    return isComplete;
}

void FileChecker::checkFlags(const Leaf& leaf) {
    const Words known{names::FORCE_ACCEPT_STR};
    if (!leaf.has(steps::ATTR_FLAGS))
        return;
    const std::string flags = leaf.value(steps::ATTR_FLAGS);
    if (!contains(known, flags))
        findings_.add(rules::UNKNOWN_FLAGS, leaf.placeOfAttribute(steps::ATTR_FLAGS),
                      "the flags " + Utils::shortQuote(flags) +
                          " mean nothing; only \"FORCE_ACCEPT\" does" + suggestion(flags, known));
}

// Parameters

void FileChecker::checkParameters(ovo::ProvisioningNode& node, const JobElement& element) {
    const Words needed{names::NVM_SETTINGS_PARAM_ATTR_NAME_STR,
                       names::NVM_SETTINGS_PARAM_ATTR_VALUE_STR};
    Words read = needed;
    read.push_back(names::NVM_SETTINGS_PARAM_ATTR_FLAGS_STR);
    checkLeafNames(element, names::NVM_SETTINGS_PARAM_STR);
    std::vector<bool> isComplete;
    isComplete.reserve(element.leaves.size());
    for (const Leaf& leaf : element.leaves) {
        isComplete.push_back(checkAttributes(leaf, read, needed));
        if (leaf.has(names::NVM_SETTINGS_PARAM_ATTR_FLAGS_STR))
            findings_.add(rules::IGNORED_FLAGS,
                          leaf.placeOfAttribute(names::NVM_SETTINGS_PARAM_ATTR_FLAGS_STR),
                          "\"flags\" of a parameter is ignored");
        if (leaf.has(names::NVM_SETTINGS_PARAM_ATTR_NAME_STR))
            checkKey(leaf);
    }
    for (const JobBench::Refusal& refusal : bench_.refusedParameters(node, address_)) {
        const Leaf& leaf = element.leaves.at(refusal.child);
        if (!isComplete.at(refusal.child))
            continue; // has been said
        findings_.add(rules::REFUSED_PARAMETER,
                      leaf.placeOfAttribute(names::NVM_SETTINGS_PARAM_ATTR_NAME_STR),
                      "the phone refuses " +
                          Utils::shortQuote(leaf.value(names::NVM_SETTINGS_PARAM_ATTR_NAME_STR)) +
                          ": " + refusal.why);
    }
}

void FileChecker::checkKey(const Leaf& leaf) {
    const std::string key = leaf.value(names::NVM_SETTINGS_PARAM_ATTR_NAME_STR);
    const std::size_t place = leaf.placeOfAttribute(names::NVM_SETTINGS_PARAM_ATTR_NAME_STR);
    if (key.empty())
        findings_.add(rules::EMPTY_NAME, place, "the name is empty");
    if (key == ovo::keys::MAC_ADDRESS)
        findings_.add(rules::PROTECTED_KEY, place, quote(key) + " is the phone's own address");
    if (key.starts_with(STATE))
        findings_.add(rules::PROTECTED_KEY, place,
                      Utils::shortQuote(key) + " is the state of a service, not a setting");
    if (const auto [first, isNew] = keys_.emplace(key, place); !isNew)
        findings_.add(rules::REPEATED_KEY, place,
                      Utils::shortQuote(key) + " is set twice; the last one counts", first->second);
}

// Lists of further files

void FileChecker::checkList(const ovo::ProvisioningNode& node, const JobElement& element) {
    for (const Leaf& leaf : element.leaves)
        checkListed(node, leaf);
}

void FileChecker::checkListed(const ovo::ProvisioningNode& node, const Leaf& leaf) {
    const bool isCategory = node.type == names::PROVISIONING_CATEGORY_STR;
    const Words needed = isCategory ? Words{names::PROVISIONING_CATEGORY_ATTR_TYPE_STR,
                                            names::PROVISIONING_CATEGORY_ATTR_URL_STR}
                                    : Words{names::DOWNLOADABLE_FILE_ATTR_URL_STR};
    const Words read = isCategory ? needed
                                  : Words{names::DOWNLOADABLE_FILE_ATTR_URL_STR,
                                          names::DOWNLOADABLE_FILE_ATTR_VERSION_STR};
    if (!checkAttributes(leaf, read, needed))
        return;
    const std::string type = leaf.value(names::PROVISIONING_CATEGORY_ATTR_TYPE_STR);
    if (isCategory && !contains(names::CATEGORIES, type))
        findings_.add(
            rules::CATEGORY, leaf.placeOfAttribute(names::PROVISIONING_CATEGORY_ATTR_TYPE_STR),
            Utils::shortQuote(type) + " is neither \"firmware\" nor \"nvm\" nor \"custom\"" +
                suggestion(type, Words(names::CATEGORIES.begin(), names::CATEGORIES.end())));
    else
        followLink(node, leaf);
}

/// Runs the job to learn where it leads.
void FileChecker::followLink(const ovo::ProvisioningNode& node, const Leaf& leaf) {
    const std::size_t place = leaf.placeOfAttribute(steps::ATTR_URL);
    const JobBench::Lead lead = bench_.follow(node, *leaf.attributes, address_);
    if (!lead.url) {
        const std::string fault = urlFault(leaf.value(steps::ATTR_URL));
        findings_.add(rules::URL, place, fault.empty() ? lead.cause : fault);
        return;
    }
    checkReach(leaf, *lead.url, false);
    checkFileName(leaf, lead.url->fileName);
    const KnownPhone& phone = bench_.phone();
    std::string url = withoutCredentials(*lead.url).getUrl();
    if (const std::string mac = phone.macAddress(); !mac.empty())
        url = http::formatPath(url, mac, phone.majorId.empty() ? "%DVID" : phone.majorId,
                               phone.minorId);
    links_.emplace_back(std::move(url), place);
}

// URLs

/// Why it is not one; empty where it is.
std::string FileChecker::urlFault(const std::string& url) const {
    if (url.empty())
        return "the URL is empty";
    try {
        static_cast<void>(
            Utils::prependServerAddressToRelativeURL(url, address_.getAbsolutePath()));
        return {};
    } catch (const http::UrlException&) {
        // A text that is not a URL may hold credentials anywhere.
        const std::string shown =
            url.find('@') == std::string::npos ? "the URL " + Utils::shortQuote(url) : "the URL";
        if (url.front() != '/' && url.find("://") == std::string::npos)
            return shown + " is neither complete nor begins with \"/\"";
    }
    try {
        static_cast<void>(http::UrlInfo(url));
        return "the URL is not one together with the address of the file";
    } catch (const http::UrlException& exception) {
        return exception.what();
    }
}

void FileChecker::checkUrl(const Leaf& leaf, bool isSecret, bool keepsName) {
    const std::string text = leaf.value(steps::ATTR_URL);
    const std::string fault = urlFault(text);
    if (!fault.empty()) {
        findings_.add(rules::URL, leaf.placeOfAttribute(steps::ATTR_URL), fault);
        return;
    }
    const http::UrlInfo url =
        Utils::prependServerAddressToRelativeURL(text, address_.getAbsolutePath());
    checkReach(leaf, url, isSecret);
    if (keepsName)
        checkFileName(leaf, url.fileName);
}

void FileChecker::checkReach(const Leaf& leaf, const http::UrlInfo& url, bool isSecret) {
    const std::size_t place = leaf.placeOfAttribute(steps::ATTR_URL);
    if (!isWeb(url))
        findings_.add(rules::URL, place,
                      Utils::shortQuote(url.scheme) + " is not supported, only http and https are");
    if (!isPlain(url))
        return;
    if (url.hasCredentials())
        findings_.add(rules::PLAIN_SECRET, place, "the credentials in the URL go over plain http");
    if (isSecret)
        findings_.add(rules::PLAIN_SECRET, place, "the private key comes over plain http");
}

/// The name under which the phone stores what it fetches.
void FileChecker::checkFileName(const Leaf& leaf, const std::string& name) {
    try {
        filesystem::AtomicFile::check(NOWHERE + name);
    } catch (const std::exception&) {
        findings_.add(rules::FILE_NAME, leaf.placeOfAttribute(steps::ATTR_URL),
                      name.empty() ? "the URL names no file"
                                   : "no file is stored as " + Utils::shortQuote(name));
    }
}

// Firmware

void FileChecker::checkFirmware(const JobElement& element) {
    const Words needed{names::FIRMWARE_FILE_ATTR_VERSION_STR, names::FIRMWARE_FILE_ATTR_URL_STR};
    Words read = needed;
    read.push_back(names::NVM_SETTINGS_PARAM_ATTR_FLAGS_STR);
    checkLeafNames(element, names::FIRMWARE_FILE_STR);
    if (element.leaves.size() > 1)
        findings_.add(rules::FIRMWARE_ENTRIES, placeOf(element.leaves[1].element),
                      "a firmware element with more than one image does nothing and fails");
    for (const Leaf& leaf : element.leaves) {
        checkAttributes(leaf, read, needed);
        checkFlags(leaf);
        if (leaf.has(names::FIRMWARE_FILE_ATTR_URL_STR))
            checkUrl(leaf, false, true);
        if (leaf.has(names::FIRMWARE_FILE_ATTR_VERSION_STR))
            checkFirmwareVersion(leaf);
    }
}

void FileChecker::checkFirmwareVersion(const Leaf& leaf) {
    const std::string text = leaf.value(names::FIRMWARE_FILE_ATTR_VERSION_STR);
    const std::size_t place = leaf.placeOfAttribute(names::FIRMWARE_FILE_ATTR_VERSION_STR);
    const HaldenFirmwareVersion offered(text);
    if (offered.compare(offered) == HaldenFirmwareVersion::INVALID) {
        findings_.add(rules::FIRMWARE_VERSION, place,
                      Utils::shortQuote(text) +
                          " is not a version: two to four decimal numbers with dots");
        return;
    }
    if (!bench_.phone().firmware)
        return;
    const HaldenFirmwareVersion installed(*bench_.phone().firmware);
    const bool isForced =
        leaf.value(names::NVM_SETTINGS_PARAM_ATTR_FLAGS_STR) == names::FORCE_ACCEPT_STR;
    const std::string both =
        Utils::shortQuote(text) + " compared with the installed " + quote(installed.getVersion());
    switch (installed.compare(offered)) {
    case HaldenFirmwareVersion::EQUAL:
        findings_.add(rules::FIRMWARE_NOT_NEWER, place, both + " is equal");
        break;
    case HaldenFirmwareVersion::OLDER:
        if (!isForced)
            findings_.add(rules::FIRMWARE_NOT_NEWER, place,
                          both + " is older, and the flags do not say \"FORCE_ACCEPT\"");
        break;
    case HaldenFirmwareVersion::NOT_UPGRADEABLE:
        findings_.add(rules::FIRMWARE_NOT_NEWER, place,
                      both + " is of another hardware generation");
        break;
    default:
        break;
    }
}

// Scenarios

void FileChecker::checkSteps(const ovo::ProvisioningNode& node, const JobElement& element) {
    checkLeafNames(element, names::CUSTOM_STEP_STR);
    for (const Leaf& leaf : element.leaves)
        checkStep(node, leaf);
}

void FileChecker::checkStep(const ovo::ProvisioningNode& node, const Leaf& leaf) {
    const std::string type = leaf.value(names::CUSTOM_STEP_ATTR_TYPE_STR);
    const auto* const known =
        std::find_if(steps::ALL.begin(), steps::ALL.end(),
                     [&](const steps::StepType& candidate) { return type == candidate.name; });
    if (known == steps::ALL.end()) {
        const Words any{names::CUSTOM_STEP_ATTR_TYPE_STR, steps::ATTR_URL, steps::ATTR_FLAGS,
                        steps::ATTR_PASSWORD, steps::ATTR_RENEW_PERIOD};
        if (!checkAttributes(leaf, any, {names::CUSTOM_STEP_ATTR_TYPE_STR}))
            return;
        Words types;
        for (const steps::StepType& candidate : steps::ALL)
            types.emplace_back(candidate.name);
        findings_.add(rules::UNKNOWN_STEP, leaf.placeOfAttribute(names::CUSTOM_STEP_ATTR_TYPE_STR),
                      "no step is called " + Utils::shortQuote(type) + ", so it is left out" +
                          suggestion(type, types));
        return;
    }
    Words read{names::CUSTOM_STEP_ATTR_TYPE_STR};
    Words needed = read;
    if (known->needsUrl) {
        read.emplace_back(steps::ATTR_URL);
        needed.emplace_back(steps::ATTR_URL);
    }
    if (known->optional != nullptr)
        read.emplace_back(known->optional);
    if (checkAttributes(leaf, read, needed))
        checkStepValues(node, leaf);
}

void FileChecker::checkStepValues(const ovo::ProvisioningNode& node, const Leaf& leaf) {
    const std::string type = leaf.value(names::CUSTOM_STEP_ATTR_TYPE_STR);
    if (type == steps::REDIRECT)
        followLink(node, leaf);
    else if (type == steps::UNLOCK_FUNCTION_KEYS)
        bench_.unlockFunctionKeys(node, *leaf.attributes, address_);
    else
        checkUrl(leaf, type == steps::CLIENT_KEY,
                 type != steps::CLIENT_KEY && type != steps::CLIENT_CERTIFICATE);
    if (type == steps::CERTIFICATE)
        checkFlags(leaf);
    if (type == steps::LOCAL_PHONE_BOOK)
        checkRenewPeriod(leaf);
    if (type == steps::CLIENT_KEY && !leaf.value(steps::ATTR_PASSWORD).empty() && !isEncrypted_ &&
        isPlain(address_))
        findings_.add(rules::PLAIN_SECRET, leaf.placeOfAttribute(steps::ATTR_PASSWORD),
                      "the password goes over plain http in a file that is not encrypted");
}

void FileChecker::checkRenewPeriod(const Leaf& leaf) {
    const std::string text = leaf.value(steps::ATTR_RENEW_PERIOD);
    if (text.empty())
        return;
    const std::size_t place = leaf.placeOfAttribute(steps::ATTR_RENEW_PERIOD);
    try {
        const auto seconds = Utils::convertTimeStringToSeconds(text);
        if (std::to_string(seconds) != text)
            findings_.add(rules::RENEW_PERIOD, place,
                          "the phone makes " + std::to_string(seconds) + " of " +
                              Utils::shortQuote(text));
    } catch (const std::logic_error&) {
        findings_.add(rules::RENEW_PERIOD, place,
                      Utils::shortQuote(text) + " is not a number of seconds");
    }
}

} // namespace ovoctl::check
