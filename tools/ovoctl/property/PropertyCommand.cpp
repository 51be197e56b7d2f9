// SPDX-License-Identifier: Apache-2.0
#include "PropertyCommand.h"

#include "PropertyDocument.h"
#include "PropertyLine.h"
#include "PropertyWatching.h"
#include "WritableStore.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/JsonLine.h"
#include "ovoctl/support/Words.h"
#include "propertyapi/sqlite/ReadOnlyStore.h"
#include "text/Escape.h"
#include "text/Quote.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace ovoctl {

namespace {

using propertyapi::Property;
using propertyapi::ReadOnlyStore;
using propertyapi::SqlitePropertyApi;
using propertyapi::StoredProperty;

using Batch = propertyapi::IPropertyApi::Batch;

constexpr const char* ORIGIN = "ovoctl";

struct Options {
    std::vector<std::string> keys;
    std::vector<std::string> assignments;
    std::string prefix;
    std::string file;
    std::string origin = ORIGIN;
    PropertyStyle style;
};

void requireKeys(const std::vector<std::string>& keys) {
    std::set<std::string> known;
    for (const std::string& key : keys) {
        requireName("key", key);
        if (!known.insert(key).second)
            throw Misuse("the key " + quote(key) + " is given twice");
    }
}

/// One sentence on the standard error.
void complain(const std::string& sentence) {
    std::cout.flush();
    std::cerr << "ovoctl: " << sentence << "\n";
}

void complainAbout(const std::string& key) {
    complain("the property " + quote(key) + " does not exist");
}

void printMissing(const std::string& key) {
    Json::Value object(Json::objectValue);
    object["key"] = key;
    object["value"] = Json::Value();
    std::cout << jsonLine(object);
}

void print(const StoredProperty& property, const PropertyStyle& style) {
    if (style.isJson)
        std::cout << lineOf(property, style);
    else if (::isatty(STDOUT_FILENO) != 0)
        std::cout << escapeControls(property.value) << "\n";
    else
        std::cout << property.value << "\n";
}

Outcome get(Options options) {
    requireKeys(options.keys);
    options.style.showsSecrets = true; // they are asked for by name
    Outcome outcome = Outcome::FINE;
    const auto found = ReadOnlyStore().find(options.keys);
    for (std::size_t index = 0; index < found.size(); ++index) {
        if (found[index]) {
            print(*found[index], options.style);
            continue;
        }
        outcome = Outcome::FINDING;
        if (options.style.isJson)
            printMissing(options.keys[index]);
        complainAbout(options.keys[index]);
    }
    return outcome;
}

/// KEY VALUE, where the first word is not KEY=VALUE.
bool isPair(const std::vector<std::string>& words) {
    return words.size() == 2 && words[0].find('=') == std::string::npos;
}

Batch assignmentsOf(const std::vector<std::string>& words) {
    Batch batch;
    if (isPair(words)) {
        batch.emplace_back(words[0], words[1]);
    } else {
        for (const std::string& word : words) {
            const std::size_t equals = word.find('=');
            if (equals == std::string::npos)
                throw Misuse(quote(word) + " is not KEY=VALUE");
            batch.emplace_back(word.substr(0, equals), word.substr(equals + 1));
        }
    }
    std::vector<std::string> keys;
    for (const auto& [key, value] : batch) {
        keys.push_back(key);
        if (!isText(value)) // which may be a secret
            throw Misuse("the value of " + quote(key) + " is not UTF-8");
    }
    requireKeys(keys);
    return batch;
}

void write(const Batch& batch, const Options& options) {
    const unsigned int changed = openStore().setValues(batch, options.origin);
    if (!options.style.isJson) {
        std::cout << changed << " of " << batch.size() << " changed\n";
        return;
    }
    Json::Value object(Json::objectValue);
    object["changed"] = changed;
    object["requested"] = static_cast<Json::UInt64>(batch.size());
    std::cout << jsonLine(object);
}

void set(const Options& options) {
    const Batch batch = assignmentsOf(options.assignments);
    requireName("origin", options.origin);
    write(batch, options);
}

void load(const Options& options) {
    const PropertyValues values = readDocument(options.file);
    requireName("origin", options.origin);
    write(Batch(values.begin(), values.end()), options);
}

Outcome unset(const Options& options) {
    requireKeys(options.keys);
    ReadOnlyStore().find({}); // a store that is missing is not made
    const SqlitePropertyApi store = openStore();
    Json::Value done(Json::objectValue);
    Json::Value& removed = done["removed"] = Json::Value(Json::arrayValue);
    Json::Value& missing = done["missing"] = Json::Value(Json::arrayValue);
    for (const std::string& key : options.keys) {
        const bool isRemoved = store.removeValue(key);
        (isRemoved ? removed : missing).append(key);
        if (!isRemoved)
            complainAbout(key);
    }
    if (options.style.isJson)
        std::cout << jsonLine(done);
    return missing.empty() ? Outcome::FINE : Outcome::FINDING;
}

void list(const Options& options) {
    requireText("prefix", options.prefix);
    for (const StoredProperty& property : ReadOnlyStore().list(options.prefix))
        std::cout << lineOf(property, options.style);
}

/// What the store holds under keys that a document can hold; outcome: FINDING when there are
/// others.
PropertyValues storedValues(const std::string& prefix, Outcome& outcome) {
    requireText("prefix", prefix);
    PropertyValues values;
    for (StoredProperty& property : ReadOnlyStore().list(prefix)) {
        if (isText(property.key)) {
            values.emplace(std::move(property.key), std::move(property.value));
            continue;
        }
        outcome = Outcome::FINDING;
        complain("the key " + quote(property.key) + " is not UTF-8; it is left out");
    }
    return values;
}

Outcome dump(const Options& options) {
    Outcome outcome = Outcome::FINE;
    const PropertyValues values = storedValues(options.prefix, outcome);
    std::cout << writeDocument(values);
    return outcome;
}

std::optional<std::string> valueIn(const PropertyValues& values, const std::string& key) {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
}

/// A key whose value in the store differs from the one in a file; none: it is missing there.
struct Difference {
    std::string key;
    std::optional<std::string> stored;
    std::optional<std::string> wanted;
};

void print(const Difference& difference, const PropertyStyle& style) {
    const auto& [key, stored, wanted] = difference;
    if (style.isJson) {
        Json::Value object(Json::objectValue);
        object["key"] = key;
        object["store"] = stored ? shownInJson(key, *stored, style) : Json::Value();
        object["file"] = wanted ? shownInJson(key, *wanted, style) : Json::Value();
        std::cout << jsonLine(object);
        return;
    }
    if (stored)
        std::cout << "-" << lineOf(Property{key, *stored}, style);
    if (wanted)
        std::cout << "+" << lineOf(Property{key, *wanted}, style);
}

Outcome diff(const Options& options) {
    const PropertyValues wanted = readDocument(options.file);
    Outcome outcome = Outcome::FINE;
    const PropertyValues stored = storedValues(options.prefix, outcome);
    std::set<std::string> keys;
    for (const PropertyValues* values : {&wanted, &stored})
        for (const auto& [key, value] : *values)
            if (key.starts_with(options.prefix))
                keys.insert(key);
    for (const std::string& key : keys) {
        const Difference difference{key, valueIn(stored, key), valueIn(wanted, key)};
        if (difference.stored == difference.wanted)
            continue;
        outcome = Outcome::FINDING;
        print(difference, options.style);
    }
    return outcome;
}

void watch(const Options& options) {
    requireKeys(options.keys);
    watchProperties(options.keys, options.style);
}

void addJson(CLI::App& command, Options& options) {
    command.add_flag("--json", options.style.isJson, "Print one JSON object per line");
}

void addSecrets(CLI::App& command, Options& options) {
    command.add_flag("--secrets", options.style.showsSecrets,
                     "Show passwords, and credentials in URLs, too");
}

void addOrigin(CLI::App& command, Options& options) {
    command.add_option("--origin", options.origin, "Who wants the values")
        ->type_name("TEXT")
        ->capture_default_str();
}

void addPrefix(CLI::App& command, Options& options) {
    command.add_option("PREFIX", options.prefix, "How the keys begin (default: all)")
        ->type_name("");
}

void addFile(CLI::App& command, Options& options) {
    command.add_option("FILE", options.file, "A dump; - is the standard input")
        ->required()
        ->type_name("");
}

using Shared = std::shared_ptr<Options>;

void addReading(CLI::App& property, const Shared& options, Outcome& outcome) {
    CLI::App* command = property.add_subcommand(
        "get", "Print values, one a line; status 1 when a key does not exist");
    addWords(*command, "KEY", options->keys, "Keys");
    addJson(*command, *options);
    setExample(*command, "ovoctl property get NET.MAC.Address");
    command->callback([options, &outcome] { outcome = get(*options); });

    command = property.add_subcommand("list", "Print KEY=VALUE for all keys, in order");
    addPrefix(*command, *options);
    command->add_flag("--origin", options->style.showsOrigin, "Show who wanted each value, too");
    addSecrets(*command, *options);
    addJson(*command, *options);
    setExample(*command, "ovoctl property list State.");
    command->callback([options] { list(*options); });

    command = property.add_subcommand(
        "watch", "Print KEY=VALUE for each change. Without a key all are watched; of values that "
                 "follow each other quickly only the last one is printed then");
    addWords(*command, "KEY", options->keys, "Keys (default: all)")->required(false);
    addSecrets(*command, *options);
    addJson(*command, *options);
    setExample(*command, "ovoctl property watch State.Provisioning");
    command->callback([options] { watch(*options); });
}

void addWriting(CLI::App& property, const Shared& options, Outcome& outcome) {
    CLI::App* command = property.add_subcommand(
        "set", "Write values, all of them or none; a store that is missing is made");
    addWords(*command, "KEY=VALUE", options->assignments,
             "What to write; for a single one also KEY VALUE in two words");
    addOrigin(*command, *options);
    addJson(*command, *options);
    setExample(*command, "ovoctl property set Time.Zone=UTC SIP.Port=5060\n"
                         "ovoctl property set Time.Zone UTC");
    command->callback([options] { set(*options); });

    command = property.add_subcommand("unset", "Remove keys; status 1 when one does not exist");
    addWords(*command, "KEY", options->keys, "Keys");
    addJson(*command, *options);
    setExample(*command, "ovoctl property unset Time.Zone");
    command->callback([options, &outcome] { outcome = unset(*options); });
}

void addDocuments(CLI::App& property, const Shared& options, Outcome& outcome) {
    CLI::App* command = property.add_subcommand(
        "dump", "Print keys and values, passwords included, as one JSON object");
    addPrefix(*command, *options);
    command->add_flag("--json", options->style.isJson, "Changes nothing: it is JSON already");
    setExample(*command, "ovoctl property dump > phone.json");
    command->callback([options, &outcome] { outcome = dump(*options); });

    command = property.add_subcommand("load", "Write what a dump holds, all of it or nothing");
    addFile(*command, *options);
    addOrigin(*command, *options);
    addJson(*command, *options);
    setExample(*command, "ovoctl property load phone.json");
    command->callback([options] { load(*options); });

    command = property.add_subcommand(
        "diff", "Print how the store (-) differs from a dump (+); status 1 when it does");
    addFile(*command, *options);
    addPrefix(*command, *options);
    addSecrets(*command, *options);
    addJson(*command, *options);
    setExample(*command, "ovoctl property diff phone.json");
    command->callback([options, &outcome] { outcome = diff(*options); });
}

} // namespace

void addPropertyCommand(CLI::App& app, Outcome& outcome) {
    const auto options = std::make_shared<Options>();
    CLI::App* property = app.add_subcommand("property", "The phone's property store");
    setExample(*property, "ovoctl property list State.");
    addReading(*property, options, outcome);
    addWriting(*property, options, outcome);
    addDocuments(*property, options, outcome);
}

} // namespace ovoctl
