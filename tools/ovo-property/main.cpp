// SPDX-License-Identifier: Apache-2.0
#include "PropertyCommands.h"
#include "PropertyList.h"
#include "app/SignalBlock.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr const char* STORE = "/data/properties.db";
constexpr int FAILED = 2;

constexpr const char* FOOTER = R"(
The store is /data/properties.db below the directory that HALDEN_ROOT names.
Exit status: 0 done; 1 a key does not exist; 2 anything else.)";

struct Arguments {
    std::vector<std::string> keys;
    std::vector<std::string> keysAndValues;
    std::string prefix;
    std::string origin;
    bool withOrigin = false;
};

struct Commands {
    CLI::App* get;
    CLI::App* set;
    CLI::App* remove;
    CLI::App* list;
    CLI::App* watch;
};

Commands addCommands(CLI::App& app, Arguments& arguments) {
    app.require_subcommand(1);
    app.footer(FOOTER);
    Commands commands{app.add_subcommand("get", "Print values, one a line"),
                      app.add_subcommand("set", "Write values in one batch"),
                      app.add_subcommand("remove", "Remove keys"),
                      app.add_subcommand("list", "Print KEY=VALUE for the keys of a prefix"),
                      app.add_subcommand("watch", "Print KEY=VALUE for each change until told to "
                                                  "end")};
    for (CLI::App* command : {commands.get, commands.remove, commands.watch})
        command->add_option("KEY", arguments.keys, "Keys")->required()->type_name("");
    commands.set->add_option("KEY VALUE", arguments.keysAndValues, "Pairs of key and value")
        ->required()
        ->type_name("");
    commands.set->add_option("--origin", arguments.origin, "Who wants the values")
        ->type_name("TEXT");
    commands.list->add_option("PREFIX", arguments.prefix, "How the keys begin (default: all)")
        ->type_name("");
    commands.list->add_flag("--origin", arguments.withOrigin, "Print who wanted each value, too");
    return commands;
}

void waitForTermination() {
    const sigset_t signals = app::SignalBlock::signals();
    int received = 0;
    ::sigwait(&signals, &received);
}

int list(const Arguments& arguments) {
    for (const auto& [key, value, origin] : ovoproperty::listProperties(STORE, arguments.prefix)) {
        std::cout << key << "=" << value;
        if (arguments.withOrigin && !origin.empty())
            std::cout << "  (" << origin << ")";
        std::cout << "\n";
    }
    std::cout.flush();
    return 0;
}

int run(const Commands& commands, const Arguments& arguments) {
    if (commands.set->parsed() && arguments.keysAndValues.size() % 2 != 0)
        throw CLI::ValidationError("set", "the last key has no value");
    std::optional<app::SignalBlock> signals;
    if (commands.watch->parsed())
        signals.emplace(); // before the store client's thread
    const propertyapi::SqlitePropertyApi store(STORE);
    const ovoproperty::PropertyCommands act(store, std::cout);
    if (commands.get->parsed())
        return act.get(arguments.keys);
    if (commands.set->parsed())
        return act.set(arguments.keysAndValues, arguments.origin);
    if (commands.remove->parsed())
        return act.remove(arguments.keys);
    if (commands.watch->parsed())
        return act.watch(arguments.keys, waitForTermination);
    return list(arguments);
}

} // namespace

int main(int argc, char** argv) {
    // What the libraries report as progress is of no interest here.
    ::setenv("HALDEN_LOG", "2", 0);
    Arguments arguments;
    CLI::App app("The phone's property store.", "ovo-property");
    const Commands commands = addCommands(app, arguments);
    try {
        app.parse(argc, argv);
        return run(commands, arguments);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help() << "\n";
        return 0;
    } catch (const std::exception& exception) {
        std::string text = exception.what();
        std::replace(text.begin(), text.end(), '\n', ' ');
        std::cerr << "ovo-property: " << text << "\n";
        return FAILED;
    }
}
