// SPDX-License-Identifier: Apache-2.0
#include "RootCheck.h"

#include "GlobalConfig.h"
#include "JobElement.h"
#include "JobHandlers/XMLNodeType.h"
#include "MacAddress.h"
#include "Suggestion.h"
#include "Utils.h"
#include "text/Ascii.h"
#include "text/Quote.h"

#include <string>

namespace ovoctl::check {

namespace {

namespace names = ovo::XMLParser;
using common::xml::Node;
using ovo::Utils;

} // namespace

bool RootCheck::check(const Node& root) {
    if (!checkName(root))
        return false;
    checkProduct(root);
    checkMac(root);
    checkVersion(root);
    return true;
}

bool RootCheck::checkName(const Node& root) {
    const WordList known = wordListOf(names::MASTER_NODES);
    const std::string name = root.tag();
    if (contains(known, name))
        return true;
    const bool isPage = ascii::equalsIgnoringCase(name, "html");
    context_.findings.add(rules::ROOT, placeOf(root),
                          "the root element " + Utils::shortQuote(name) +
                              " is none of a provisioning file" +
                              (isPage ? "; the file is an HTML page" : suggestion(name, known)));
    return false;
}

void RootCheck::checkProduct(const Node& root) {
    const std::size_t place = placeOf(root, names::GLOBAL_ATTR_PRODUCT_ID_STR);
    const std::string product = root.attr(names::GLOBAL_ATTR_PRODUCT_ID_STR);
    const std::string& wanted = context_.bench.phone().product;
    if (!context_.bench.parser().checkID(root))
        context_.findings.add(rules::PRODUCT, place,
                              "the product " + Utils::shortQuote(product) +
                                  " is neither \"hd7k\" nor \"hd9\"" +
                                  suggestion(product, wordListOf(names::PRODUCTS)));
    else if (!wanted.empty() && !product.empty() && product != wanted)
        context_.findings.add(rules::OTHER_PRODUCT, place,
                              "the file is for " + quote(product) + ", not for " + quote(wanted) +
                                  "; the phone takes it all the same");
}

void RootCheck::checkMac(const Node& root) {
    if (!root.hasAttr(names::GLOBAL_ATTR_MAC_ADDRESS_STR))
        return;
    const std::size_t place = placeOf(root, names::GLOBAL_ATTR_MAC_ADDRESS_STR);
    const std::string mac = root.attr(names::GLOBAL_ATTR_MAC_ADDRESS_STR);
    if (!context_.bench.parser().checkMAC(root))
        context_.findings.add(rules::MAC_ADDRESS, place,
                              "the file is for the phone " + Utils::shortQuote(mac) + ", not for " +
                                  quote(context_.bench.phone().macAddress()));
    if (!isMacAddress(mac))
        context_.findings.add(rules::MAC_FORMAT, place,
                              Utils::shortQuote(mac) +
                                  " is not a MAC address as \"02:1A:2B:3C:4D:5E\"");
}

void RootCheck::checkVersion(const Node& root) {
    if (context_.bench.parser().checkVersion(root))
        return;
    const std::string version = root.attr(names::GLOBAL_ATTR_VERSION_STR);
    context_.findings.add(rules::VERSION, placeOf(root, names::GLOBAL_ATTR_VERSION_STR),
                          (root.hasAttr(names::GLOBAL_ATTR_VERSION_STR)
                               ? "the version " + Utils::shortQuote(version) + " is not readable"
                               : "the root element has no \"version\"") +
                              "; the phone reads \"1.0\" to " +
                              quote(ovo::GlobalConfig::PROVISIONING_VERSION) +
                              ", compared as text");
}

} // namespace ovoctl::check
