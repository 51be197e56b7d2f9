// SPDX-License-Identifier: Apache-2.0
// The schema for editors, against the check: both accept what is good and object to what is bad.

#include "CheckFixture.h"
#include "ovoctl/check/Rules.h"
#include "ovoctl/check/Templates.h"
#include "support/process/ChildProcess.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <set>

namespace {

using testing::IsEmpty;
using testing::Not;
namespace rules = ovoctl::check::rules;

/// What a schema cannot say: it knows one file, no phone, no key, no other file, and no values that
/// depend on each other. The generated files break none of these.
const std::set<const ovoctl::check::Rule*> BEYOND_A_SCHEMA = {
    &rules::PLAIN,         &rules::ENCRYPTED,          &rules::ENCRYPTION,
    &rules::MAC_ADDRESS,   &rules::OTHER_PRODUCT,      &rules::PLAIN_SECRET,
    &rules::LOOP,          &rules::REFUSED_PARAMETER,  &rules::REPEATED_KEY,
    &rules::PROTECTED_KEY, &rules::FIRMWARE_NOT_NEWER, &rules::IGNORED_FLAGS,
    &rules::PERIOD};

class Schema : public CheckFixture {
protected:
    /// Which of the files the schema accepts; one process for all of them.
    std::vector<bool> validate(const std::vector<std::string>& files) {
        std::vector<std::string> command{"xmllint", "--noout", "--relaxng", PROVISIONING_SCHEMA};
        for (std::size_t number = 0; number < files.size(); ++number) {
            write(nameOf(number), files[number]);
            command.push_back(path(nameOf(number)));
        }
        const std::string output = run(command).output;
        std::vector<bool> isValid;
        for (std::size_t number = 0; number < files.size(); ++number)
            isValid.push_back(output.find(path(nameOf(number)) + " validates\n") !=
                              std::string::npos);
        return isValid;
    }

    static std::string nameOf(std::size_t number) { return std::to_string(number) + ".xml"; }
};

std::vector<std::string> allGoodFiles() {
    std::vector<std::string> files = goodFiles();
    for (const std::string& example : referenceExamples())
        files.push_back(example);
    for (const ovoctl::check::Template& each : ovoctl::check::TEMPLATES)
        files.emplace_back(each.text);
    return files;
}

TEST_F(Schema, AcceptsWhatTheCheckAccepts) {
    const std::vector<std::string> files = allGoodFiles();
    const std::vector<bool> isValid = validate(files);
    for (std::size_t number = 0; number < files.size(); ++number)
        EXPECT_TRUE(isValid[number]) << files[number];
}

/// One fault in a good file: a text that is replaced, in one of its places or in all.
struct Fault {
    const char* what;
    const char* with;
    bool isEverywhere = false;
};
const std::vector<Fault> FAULTS = {
    {"version=\"1.", "version=\"2."},
    {"version=\"1.", "Version=\"1."},
    {"version=\"1.", "versoin=\"1."},
    {"<nvm ", "<nvm macaddress=\"02:00:00:00:00:01\" "},
    {"<nvm ", "<nvm macAddress=\"02:00:00:00:00\" "},
    {"<custom ", "<custom productID=\"HD7K\" "},
    {"<provisioning ", "<provisioning productID=\"\" "},
    {"<param ", "<parm "},
    {"<param ", "<param Name=\"x\" "},
    {"<param ", "<param><inner/></param><param "},
    {"<param ", "<param/><param "},
    {"<param ", "<file url=\"/x\"/><param "},
    {" name=", " nmae="},
    {" value=", " valeu="},
    {" value=", " value=\"twice\" value="},
    {"<settings>", "<settings lang=\"de\">"},
    {"<settings>", "<group><settings>"},
    {"<step ", "<Step "},
    {"<step ", "<step flag=\"x\" "},
    {"<step ", "<step/><step "},
    {" type=", " typ="},
    {"type=\"", "type=\"x"},
    {"\"Redirect\"", "\"redirect\""},
    {"\"Clientkey\"", "\"Clientcertificate\" password=\"x\""},
    {"\"UnlockAllFunctionKeys\"", "\"UnlockAllFunctionKeys\" url=\"/x\""},
    {" url=", " uri="},
    {"url=\"/", "url=\""},
    {"url=\"/", "url=\"/a b"},
    {"url=\"https:", "url=\"ftp:"},
    {".xml\"", "/\""},
    {".png\"", "/..\""},
    {".bin\"", "/.\""},
    {"flags=\"FORCE_ACCEPT\"", "flags=\"FORCE\""},
    {"flags=\"FORCE_ACCEPT\"", "flag=\"FORCE_ACCEPT\""},
    {"renewPeriod=\"3600\"", "renewPeriod=\"60\""},
    {"renewPeriod=\"3600\"", "renewPeriod=\"hourly\""},
    {"<file ", "<file name=\"x\" "},
    {"version=\"7.", "version=\"v7."},
    {"<category ", "<catgory "},
    {"type=\"nvm\"", "type=\"NVM\""},
    {"</", "</x"},
    {"/>", ">"},
    {"=\"", "="},
    {"<scenario", "<Scenario"},
    {"<firmware", "<Firmware"},
    {"nvm", "Nvm", true},
    {"custom", "costum", true},
    {"firmware", "firmwares", true},
    {"settings", "setings", true},
    {"scenario", "szenario", true},
    {"<step ", "<stp ", true},
};

std::vector<std::size_t> placesOf(const std::string& text, const std::string& part) {
    std::vector<std::size_t> places;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        places.push_back(at);
    return places;
}

/// The same files each time.
std::vector<std::string> generateBadFiles(std::size_t count) {
    std::vector<std::string> good = referenceExamples();
    for (const ovoctl::check::Template& each : ovoctl::check::TEMPLATES)
        good.emplace_back(
            each.text.substr(each.text.find("?>") + 3)); // the declaration is no element
    std::mt19937 random(20);
    const auto any = [&random](std::size_t size) {
        return random() % size;
    };
    std::set<std::string> bad;
    std::vector<std::string> files;
    while (files.size() < count) {
        std::string file = good[any(good.size())];
        const Fault& fault = FAULTS[any(FAULTS.size())];
        std::vector<std::size_t> places = placesOf(file, fault.what);
        // Not in a comment.
        std::erase_if(places, [&](std::size_t place) {
            const auto comment = file.rfind("<!--", place);
            return comment != std::string::npos && file.find("-->", comment) > place;
        });
        if (places.empty())
            continue;
        if (!fault.isEverywhere)
            places = {places[any(places.size())]};
        for (auto place = places.rbegin(); place != places.rend(); ++place)
            file.replace(*place, std::string(fault.what).size(), fault.with);
        if (bad.insert(file).second)
            files.push_back(std::move(file));
    }
    return files;
}

TEST_F(Schema, ObjectsWhereTheCheckObjects) {
    constexpr std::size_t COUNT = 250;
    const std::vector<std::string> files = generateBadFiles(COUNT);
    const std::vector<bool> isValid = validate(files);
    std::set<std::string> broken;
    for (std::size_t number = 0; number < COUNT; ++number) {
        const std::vector<std::string> findings = checkFiles({nameOf(number)});
        EXPECT_THAT(findings, Not(IsEmpty())) << files[number];
        EXPECT_FALSE(isValid[number]) << files[number] << testing::PrintToString(findings);
        for (const std::string& finding : findings)
            broken.insert(finding.substr(finding.find(' ') + 1));
    }
    // Every other rule is among what was generated, but for those that the faults cannot break.
    for (const ovoctl::check::Rule* rule : rules::ALL) {
        if (BEYOND_A_SCHEMA.count(rule) == 0 && rule != &rules::EMPTY_NAME &&
            rule != &rules::FIRMWARE_ENTRIES) {
            EXPECT_EQ(broken.count(std::string(rule->name)), 1U) << rule->name;
        }
    }
}

TEST_F(Schema, ObjectsToWhatTheGeneratedFilesDoNotHold) {
    const std::vector<std::string> files = {
        "<settings version='1.1'><param name='' value='1'/></settings>",
        "<firmware version='1.1'><file version='1.2' url='/a'/><file version='1.3' url='/a'/>"
        "</firmware>"};
    EXPECT_EQ(validate(files), std::vector<bool>(files.size(), false));
    for (const std::string& file : files)
        EXPECT_THAT(check(file), Not(IsEmpty())) << file;
}

} // namespace
