// SPDX-License-Identifier: Apache-2.0
// The schema for editors, against the check: both accept what is good and object to what is bad.

#include "CheckFixture.h"
#include "ovoctl/check/Rules.h"
#include "ovoctl/check/Templates.h"
#include "support/files/GeneratedFiles.h"
#include "support/process/ChildProcess.h"

#include <gmock/gmock.h>

#include <algorithm>
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

TEST_F(Schema, AcceptsExamplesAndTemplates) {
    std::vector<std::string> files = referenceExamples();
    for (const ovoctl::check::Template& each : ovoctl::check::TEMPLATES)
        files.emplace_back(each.text);
    const std::vector<bool> isValid = validate(files);
    for (std::size_t number = 0; number < files.size(); ++number)
        EXPECT_TRUE(isValid[number]) << files[number];
}

/// True for a file with a fault that a schema can see.
bool isBadForASchema(const ProvisioningFile& file) {
    return std::any_of(rules::ALL.begin(), rules::ALL.end(), [&](const auto* rule) {
        return BEYOND_A_SCHEMA.count(rule) == 0 &&
               std::any_of(file.findings.begin(), file.findings.end(), [&](const auto& finding) {
                   return finding.isOf(std::string(rule->name));
               });
    });
}

/// What the schema does not see although it is a fault of the form, and what it does not want
/// although the phone takes it; the reference says so.
const std::set<std::string> LOOSER = {"document/document-type.xml", "document/encoding-latin1.xml",
                                      "firmware/temporary-name.xml", "lists/port-too-large.xml"};
const std::set<std::string> STRICTER = {"document/text-and-comments.xml",
                                        "elements/leaf-after-element.xml",
                                        "elements/other-roots-inside.xml",
                                        "elements/several-kinds.xml",
                                        "parameters/function-keys-unlocked-afterwards.xml",
                                        "parameters/function-keys-unlocked-before.xml"};

TEST_F(Schema, AgreesWithTheCheckOnTheFilesOfTheTests) {
    std::vector<std::string> texts;
    for (const ProvisioningFile& file : provisioningFiles())
        texts.push_back(file.content(8080, 8443));
    const std::vector<bool> isValid = validate(texts);
    for (std::size_t number = 0; number < texts.size(); ++number) {
        if (texts[number].starts_with("Salted__"))
            continue; // is not meant for a schema
        const ProvisioningFile& file = provisioningFiles()[number];
        EXPECT_EQ(LOOSER.contains(file.name), isValid[number] && isBadForASchema(file))
            << file.name;
        EXPECT_EQ(STRICTER.contains(file.name), !isValid[number] && !isBadForASchema(file))
            << file.name;
    }
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

} // namespace
