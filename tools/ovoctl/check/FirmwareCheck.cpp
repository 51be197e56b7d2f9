// SPDX-License-Identifier: Apache-2.0
#include "FirmwareCheck.h"

#include "JobHandlers/StepTypes.h"
#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"
#include "firmware/HaldenFirmwareVersion.h"
#include "text/Quote.h"

#include <string>

namespace ovoctl::check {

namespace {

namespace names = ovo::XMLParser;
using ovo::Utils;
using version::HaldenFirmwareVersion;

const std::string VERSION = names::FIRMWARE_FILE_ATTR_VERSION_STR;
const std::string URL = names::FIRMWARE_FILE_ATTR_URL_STR;
const KnownAttributes ATTRIBUTES{
    {names::FIRMWARE_FILE_ATTR_VERSION_STR, names::FIRMWARE_FILE_ATTR_URL_STR},
    {ovo::steps::ATTR_FLAGS}};

/// An offered version that the phone does not install.
struct Obstacle {
    int comparison; ///< of the installed version with it
    bool yieldsToForce;
    const char* what;
};

constexpr Obstacle OBSTACLES[]{
    {HaldenFirmwareVersion::EQUAL, false, " is equal"},
    {HaldenFirmwareVersion::OLDER, true, " is older, and the flags do not say \"FORCE_ACCEPT\""},
    {HaldenFirmwareVersion::NOT_UPGRADEABLE, false, " is of another hardware generation"},
};

} // namespace

void FirmwareCheck::check(const JobElement& job) {
    if (job.leaves.size() > 1)
        context_.findings.add(rules::FIRMWARE_ENTRIES, placeOf(job.leaves[1].element),
                              "a firmware element with more than one image does nothing and fails");
    for (const Leaf& leaf : job.leaves) {
        attributes_.checkLeaf(leaf, ATTRIBUTES);
        attributes_.checkFlags(leaf);
        if (leaf.has(URL))
            urls_.check(leaf, UrlCheck::Content::FILE);
        if (leaf.has(VERSION))
            checkVersion(leaf);
    }
}

void FirmwareCheck::checkVersion(const Leaf& leaf) {
    const std::string text = leaf.value(VERSION);
    const std::size_t place = leaf.placeOfAttribute(VERSION);
    const HaldenFirmwareVersion offered(text);
    if (offered.compare(offered) == HaldenFirmwareVersion::INVALID) {
        context_.findings.add(rules::FIRMWARE_VERSION, place,
                              Utils::shortQuote(text) +
                                  " is not a version: two to four decimal numbers with dots");
        return;
    }
    if (!context_.bench.phone().firmware)
        return;
    const HaldenFirmwareVersion installed(*context_.bench.phone().firmware);
    const bool isForced = leaf.value(ovo::steps::ATTR_FLAGS) == names::FORCE_ACCEPT_STR;
    const int comparison = installed.compare(offered);
    for (const Obstacle& obstacle : OBSTACLES)
        if (obstacle.comparison == comparison && !(obstacle.yieldsToForce && isForced))
            context_.findings.add(rules::FIRMWARE_NOT_NEWER, place,
                                  Utils::shortQuote(text) + " compared with the installed " +
                                      quote(installed.getVersion()) + obstacle.what);
}

} // namespace ovoctl::check
