// SPDX-License-Identifier: Apache-2.0
#include "CheckCommand.h"

#include "CheckFormat.h"
#include "CheckRun.h"
#include "Directories.h"
#include "JobHandlers/XMLNodeType.h"
#include "MacAddress.h"
#include "Suggestion.h"
#include "Vocabulary.h"
#include "WordList.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/InputFile.h"
#include "paths/Paths.h"
#include "security/openssl/SaltedText.h"
#include "text/Escape.h"
#include "text/Quote.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

namespace ovoctl {

namespace {

using namespace check;

constexpr const char* FOOTER = R"(
Each finding is a line FILE:LINE:COLUMN: LEVEL: RULE: SENTENCE. Below a directory, files whose names end in
.xml or .enc are checked.

Example: what would the phone 02:1A:2B:3C:4D:5E make of the files of a server?
  ovoctl check --mac 02:1A:2B:3C:4D:5E --key ovo.key --base https://prov.example.com/ htdocs/

Exit status: 0 neither errors nor warnings; 1 at least one; 2 used wrongly; 3 a file or URL could not be read.)";

struct CheckArguments {
    std::vector<std::string> sources;
    std::string keyFile;
    std::string mac;
    std::string product;
    std::string root;
    std::string base;
    std::vector<std::string> allowed;
    std::string format = "text";
    bool isJson = false;
    bool areRulesWanted = false;
};

std::string readKey(const std::string& path) {
    std::string key = readProvisioningFile(path);
    if (security::salted::passwordOf(key).empty())
        throw Misuse("the first line of the key file " + quote(path) + " is empty");
    return key;
}

/// Of the phone below --root.
std::string phoneKey() {
    return paths::toHost(ovo::Files::KEY).text();
}

void requireRule(const std::string& name) {
    WordList names;
    for (const Rule* rule : rules::ALL)
        names.push_back(rule->name);
    if (!contains(names, name))
        throw Misuse("there is no rule " + quote(name) + suggestion(name, names) +
                     " (--rules lists them)");
}

KnownPhone phoneOf(const CheckArguments& arguments) {
    if (!arguments.mac.empty() && !isMacAddress(arguments.mac))
        throw Misuse(quote(arguments.mac) + " is not a MAC address as 02:1A:2B:3C:4D:5E");
    KnownPhone phone;
    if (!arguments.root.empty()) {
        std::error_code error;
        if (!std::filesystem::is_directory(arguments.root, error))
            throw Unaskable("the root " + quote(arguments.root) + " is not a directory");
        ::setenv("HALDEN_ROOT", std::filesystem::absolute(arguments.root).c_str(), 1);
        phone = readPhone(arguments.mac);
    } else if (!arguments.mac.empty()) {
        phone.values = std::make_shared<Values>(Values{{ovo::keys::MAC_ADDRESS, arguments.mac}});
    }
    if (!arguments.product.empty() &&
        !contains(wordListOf(ovo::XMLParser::PRODUCTS), arguments.product))
        throw Misuse("there is no product " + quote(arguments.product) +
                     "; the products are \"hd7k\" and \"hd9\"");
    phone.product = arguments.product;
    return phone;
}

void write(const std::string& format, const std::vector<FileResult>& results) {
    if (format == "json")
        writeJson(std::cout, results);
    else if (format == "sarif")
        writeSarif(std::cout, results);
    else
        writeText(std::cout, results);
}

Outcome outcomeOf(const std::vector<FileResult>& results) {
    Outcome outcome = Outcome::FINE;
    for (const FileResult& file : results) {
        if (!file.unreadable.empty())
            return Outcome::UNASKABLE;
        for (const Finding& finding : file.findings)
            if (finding.rule->level != Level::Note)
                outcome = Outcome::FINDING;
    }
    return outcome;
}

Outcome run(const CheckArguments& arguments) {
    const std::string format = arguments.isJson ? "json" : arguments.format;
    if (arguments.areRulesWanted) {
        writeRules(std::cout, format == "json");
        return Outcome::FINE;
    }
    if (arguments.sources.empty())
        throw Misuse("nothing to check: name a file, a URL or a directory");
    for (const std::string& rule : arguments.allowed)
        requireRule(rule);
    CheckOptions options;
    options.arguments = arguments.sources;
    options.base = arguments.base;
    options.allowed.insert(arguments.allowed.begin(), arguments.allowed.end());
    options.phone = phoneOf(arguments);
    if (!arguments.keyFile.empty())
        options.key = readKey(arguments.keyFile);
    else if (!arguments.root.empty() && std::filesystem::exists(phoneKey()))
        options.key = readKey(phoneKey());
    const std::vector<FileResult> results = runCheck(options);
    write(format, results);
    std::cout.flush();
    if (results.empty())
        std::cerr << "ovoctl: no file whose name ends in .xml or .enc was found\n";
    for (const FileResult& file : results)
        if (!file.unreadable.empty())
            std::cerr << "ovoctl: " << escapeControls(file.unreadable) << "\n";
    return outcomeOf(results);
}

} // namespace

void addCheckCommand(CLI::App& app, Outcome& outcome) {
    const auto arguments = std::make_shared<CheckArguments>();
    CLI::App* const command =
        app.add_subcommand("check", "Check whether provisioning files are good, for this phone");
    command->add_option("SOURCE", arguments->sources, "Files, URLs, directories")->type_name("");
    const auto option = [&](const char* name, std::string& value, const char* text,
                            const char* type) {
        return command->add_option(name, value, text)->type_name(type);
    };
    option("--key", arguments->keyFile, "Key file of encrypted files; its first line counts",
           "FILE");
    option("--mac", arguments->mac, "MAC address of the phone", "ADDRESS");
    option("--product", arguments->product, "Product of the phone: hd7k or hd9", "NAME");
    option("--root", arguments->root,
           "Root directory of the phone, whose store, locks and versions are read", "DIR");
    option("--base", arguments->base, "Where phones find the files: the URL of the directories",
           "URL");
    command
        ->add_option("--allow", arguments->allowed,
                     "Leave out the findings of a rule; may be repeated")
        ->type_name("RULE")
        ->allow_extra_args(false);
    CLI::Option* const format =
        option("--format", arguments->format, "text, json (an object per line) or sarif", "FORMAT")
            ->check(CLI::IsMember({"text", "json", "sarif"}));
    command->add_flag("--json", arguments->isJson, "The same as --format json");
    command->add_flag("--rules", arguments->areRulesWanted, "List the rules");
    command->footer(FOOTER);
    command->callback([arguments, format, &outcome] {
        if (arguments->isJson && format->count() > 0 && arguments->format != "json")
            throw Misuse("--json and --format " + arguments->format + " contradict each other");
        outcome = run(*arguments);
    });
}

} // namespace ovoctl
