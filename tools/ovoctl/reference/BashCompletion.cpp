// SPDX-License-Identifier: Apache-2.0
#include "BashCompletion.h"

#include "CommandText.h"

namespace ovoctl {

namespace {

void writeDescents(const CLI::App& command, std::ostream& output) {
    for (const CLI::App* next : commandsOf(command)) {
        output << "        '" << fullName(*next) << "') path='" << fullName(*next) << "' ;;\n";
        writeDescents(*next, output);
    }
}

void writeKnown(const CLI::App& command, std::ostream& output) {
    output << "    '" << fullName(command) << "') known='";
    const char* separator = "";
    for (const CLI::App* next : commandsOf(command)) {
        output << separator << next->get_name();
        separator = " ";
    }
    for (const CLI::Option* option : optionsOf(command))
        for (const std::string& name : namesOf(*option)) {
            output << separator << name;
            separator = " ";
        }
    output << "' ;;\n";
    for (const CLI::App* next : commandsOf(command))
        writeKnown(*next, output);
}

} // namespace

void writeBashCompletion(const CLI::App& app, std::ostream& output) {
    const std::string& name = app.get_name();
    output << "# SPDX-License-Identifier: Apache-2.0\n# bash completion for " << name << "\n_"
           << name << "() {\n"
           << "    local index known='' path=" << name << "\n"
           << "    for ((index = 1; index < COMP_CWORD; ++index)); do\n"
           << "        case \"$path ${COMP_WORDS[index]}\" in\n";
    writeDescents(app, output);
    output << "        esac\n    done\n    case $path in\n";
    writeKnown(app, output);
    output
        << "    esac\n"
        << "    mapfile -t COMPREPLY < <(compgen -W \"$known\" -- \"${COMP_WORDS[COMP_CWORD]}\")\n"
        << "}\ncomplete -o default -F _" << name << " " << name << "\n";
}

} // namespace ovoctl
