// SPDX-License-Identifier: Apache-2.0
#include "ManPage.h"

#include "CommandText.h"

#include <sstream>
#include <string>
#include <string_view>

namespace ovoctl {

namespace {

/// A text that means nothing but itself, within a line.
std::string plain(std::string_view text) {
    std::string result;
    for (const char character : text) {
        if (character == '\\')
            result += "\\e";
        else if (character == '-')
            result += "\\-";
        else
            result += character;
    }
    return result;
}

/// Lines of text, none of which is taken for a request.
std::string lines(const std::string& text) {
    std::string result;
    std::istringstream source(text);
    for (std::string line; std::getline(source, line);) {
        const bool isRequest = !line.empty() && (line.front() == '.' || line.front() == '\'');
        result += (isRequest ? "\\&" : "") + plain(line) + "\n";
    }
    return result;
}

void writeUnchanged(const std::string& text, std::ostream& output) {
    if (!text.empty())
        output << ".PP\n.nf\n" << lines(text) << ".fi\n";
}

void writeSynopsis(const CLI::App& command, std::ostream& output) {
    output << ".PP\n\\fB" << plain(fullName(command)) << "\\fR";
    if (!optionsOf(command).empty())
        output << " [\\fIoptions\\fR]";
    for (const CLI::Option* word : wordsOf(command))
        output << " \\fI" << plain(wordText(*word)) << "\\fR";
    output << "\n";
}

void writeOption(const CLI::Option& option, std::ostream& output) {
    output << ".TP\n";
    const char* separator = "";
    for (const std::string& name : namesOf(option)) {
        output << separator << "\\fB" << plain(name) << "\\fR";
        separator = ", ";
    }
    if (const std::string value = valueOf(option); !value.empty())
        output << " \\fI" << plain(value) << "\\fR";
    output << "\n" << lines(option.get_description());
}

void writeOptions(const CLI::App& command, std::ostream& output) {
    for (const CLI::Option* word : wordsOf(command))
        output << ".TP\n\\fI" << plain(wordText(*word)) << "\\fR\n"
               << lines(word->get_description());
    for (const CLI::Option* option : optionsOf(command))
        writeOption(*option, output);
}

void writeCommands(const CLI::App& command, const std::string& knownFooter, std::ostream& output) {
    for (const CLI::App* next : commandsOf(command)) {
        output << ".SS \"" << plain(fullName(*next)) << "\"\n" << lines(next->get_description());
        if (commandsOf(*next).empty())
            writeSynopsis(*next, output);
        writeOptions(*next, output);
        // A command without a text of its own has that of its parent.
        if (next->get_footer() != knownFooter)
            writeUnchanged(next->get_footer(), output);
        writeCommands(*next, knownFooter, output);
    }
}

void writeSeeAlso(const std::vector<std::string>& pages, std::ostream& output) {
    const char* separator = ".SH SEE ALSO\n";
    for (const std::string& page : pages) {
        output << separator << ".BR " << page;
        separator = ",\n";
    }
    output << "\n";
}

} // namespace

void writeManPage(const CLI::App& app, const ManPageFrame& frame, std::ostream& output) {
    const std::string& name = app.get_name();
    const bool hasCommands = !commandsOf(app).empty();
    output << ".TH " << name << " 1 \"\" \"" << plain(app.version()) << "\"\n"
           << ".SH NAME\n"
           << plain(name) << " \\- " << plain(frame.summary) << "\n"
           << ".SH SYNOPSIS\n\\fB" << plain(name)
           << (hasCommands ? "\\fR \\fIcommand\\fR [\\fIoptions\\fR] [\\fIwords\\fR]\n"
                           : "\\fR [\\fIoptions\\fR]\n")
           << ".SH DESCRIPTION\n"
           << lines(app.get_description());
    writeUnchanged(app.get_footer(), output);
    output << ".SH OPTIONS\n";
    writeOptions(app, output);
    if (hasCommands) {
        output << ".SH COMMANDS\n";
        writeCommands(app, app.get_footer(), output);
    }
    writeSeeAlso(frame.seeAlso, output);
}

} // namespace ovoctl
