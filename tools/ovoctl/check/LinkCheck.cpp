// SPDX-License-Identifier: Apache-2.0
#include "LinkCheck.h"

#include "JobHandlers/StepTypes.h"
#include "JobHandlers/XMLNodeType.h"
#include "Suggestion.h"
#include "Utils.h"
#include "http/formatPath.h"

#include <utility>

namespace ovoctl::check {

namespace {

namespace names = ovo::XMLParser;

const KnownAttributes OF_CATEGORY{
    {names::PROVISIONING_CATEGORY_ATTR_TYPE_STR, names::PROVISIONING_CATEGORY_ATTR_URL_STR}, {}};
const KnownAttributes OF_FILE{{names::DOWNLOADABLE_FILE_ATTR_URL_STR},
                              {names::DOWNLOADABLE_FILE_ATTR_VERSION_STR}};

} // namespace

void LinkCheck::checkList(const JobElement& job) {
    const bool isOfCategories = job.node.type == names::PROVISIONING_CATEGORY_STR;
    for (const Leaf& leaf : job.leaves)
        if (attributes_.checkLeaf(leaf, isOfCategories ? OF_CATEGORY : OF_FILE) &&
            (!isOfCategories || checkCategory(leaf)))
            follow(job, leaf);
}

/// False: the phone does not follow it.
bool LinkCheck::checkCategory(const Leaf& leaf) {
    const WordList known = wordListOf(names::CATEGORIES);
    const std::string type = leaf.value(names::PROVISIONING_CATEGORY_ATTR_TYPE_STR);
    if (contains(known, type))
        return true;
    context_.findings.add(
        rules::CATEGORY, leaf.placeOfAttribute(names::PROVISIONING_CATEGORY_ATTR_TYPE_STR),
        ovo::Utils::shortQuote(type) + " is neither \"firmware\" nor \"nvm\" nor \"custom\"" +
            suggestion(type, known));
    return false;
}

void LinkCheck::follow(const JobElement& job, const Leaf& leaf) {
    const std::size_t place = leaf.placeOfAttribute(ovo::steps::ATTR_URL);
    const JobBench::Lead lead = context_.bench.follow(job.node, leaf.attributes, context_.address);
    if (!lead.url) {
        const std::string fault = urls_.faultOf(leaf.value(ovo::steps::ATTR_URL));
        context_.findings.add(rules::URL, place, fault.empty() ? lead.cause : fault);
        return;
    }
    urls_.checkResolved(leaf, *lead.url, UrlCheck::Content::FILE);
    const KnownPhone& phone = context_.bench.phone();
    std::string url = withoutCredentials(*lead.url).getUrl();
    if (const std::string mac = phone.macAddress(); !mac.empty())
        url = http::formatPath(url, mac, phone.majorId.empty() ? "%DVID" : phone.majorId,
                               phone.minorId);
    targets_.push_back({place, std::move(url), leaf.value(ovo::steps::ATTR_URL).starts_with('/')});
}

} // namespace ovoctl::check
