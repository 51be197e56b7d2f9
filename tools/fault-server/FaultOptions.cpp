// SPDX-License-Identifier: Apache-2.0
#include "FaultOptions.h"

#include "AnswerMembers.h"
#include "Script.h"
#include "ovoctl/Failure.h"
#include "program/CommandLineText.h"
#include "text/Quote.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

namespace faults {

namespace {

using Kind = AnswerMember::Kind;
using ovoctl::Misuse;

constexpr double LONGEST_SECONDS = 1e6;

constexpr const char* FOOTER = R"(
The options of the answer describe one answer to every request. A scenario file describes more:
an object with the list "answers"; the members of an answer are those options without the "--".
A request gets the first answer that fits its path and has not been given "times" times.
Where a place in the body is asked for, "start" stands for a connection without any answer.

The first line of the output is the address. Then there is a line for each request: what was
asked, the status code ("-" for none) and what is wrong with the answer.

Exit status:
  0  told to end, the time is over, or nobody reads the output any more
  2  used wrongly
  3  the port is taken, or the output cannot be written

Example: fault-server --port 8080 --unauthorized basic --user alice --password sesame)";

/// An option of the answer.
struct Choice {
    const AnswerMember& member;
    CLI::Option* option;
};

/// The options of the server itself, as the library fills them in.
struct Raw {
    std::uint16_t port = 0;
    std::string scenario;
    std::string certificate;
    std::string key;
    double timeoutSeconds = 0;
    std::vector<std::string> values; ///< the library wants a place for them
};

std::vector<Choice> addAnswer(CLI::App& app, Raw& raw) {
    std::vector<Choice> choices;
    for (const AnswerMember& member : answerMembers()) {
        const std::string name = "--" + member.name;
        CLI::Option* option = member.kind == Kind::FLAG
                                  ? app.add_flag(name, member.help)
                                  : app.add_option(name, raw.values, member.help)
                                        ->type_name(member.valueName)
                                        ->expected(1);
        if (member.kind == Kind::TEXTS)
            option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        if (member.kind == Kind::SECONDS)
            option->check(CLI::Range(0.0, LONGEST_SECONDS).description(""));
        option->group("The answer");
        choices.push_back({member, option});
    }
    return choices;
}

Answer answerOf(const std::vector<Choice>& choices) {
    Answer answer;
    for (const Choice& choice : choices) {
        try {
            for (const std::string& value : choice.option->results())
                setMember(answer, choice.member, value);
        } catch (const std::invalid_argument& error) {
            throw Misuse("--" + choice.member.name + ": " + error.what());
        }
    }
    try {
        answer.check();
    } catch (const std::invalid_argument& error) {
        throw Misuse(error.what());
    }
    return answer;
}

std::vector<Answer> answersOf(const Raw& raw, const std::vector<Choice>& choices) {
    if (raw.scenario.empty())
        return {answerOf(choices)};
    for (const Choice& choice : choices) {
        if (choice.option->count() > 0)
            throw Misuse("--" + choice.member.name +
                         ": describes an answer, as --scenario does; only one of them "
                         "is possible");
    }
    return Script::read(raw.scenario);
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        throw Misuse(quote(path) + " cannot be read: " + std::strerror(errno));
    return {std::istreambuf_iterator<char>(file), {}};
}

std::optional<TlsWire::Settings> tlsOf(const Raw& raw) {
    if (raw.certificate.empty())
        return std::nullopt;
    TlsWire::Settings settings;
    settings.server = {contentOf(raw.certificate), contentOf(raw.key)};
    SocketWire none(-1);
    try {
        const TlsWire trial(none, settings);
    } catch (const std::runtime_error& error) {
        throw Misuse(quote(raw.certificate) + " and " + quote(raw.key) + ": " + error.what());
    }
    return settings;
}

} // namespace

Command parseCommandLine(int argc, const char* const* argv) {
    Raw raw;
    CLI::App app("A web server on the loopback interface that answers wrongly, as it is told.",
                 "fault-server");
    app.footer(FOOTER);
    app.set_version_flag("--version", "fault-server " OVO_VERSION, "Print the version and exit");
    program::addManual(app, {"a web server that answers wrongly, as it is told",
                             {"ovo (8)", "ovoctl (1)", "phone-simulator (1)"}});
    app.add_option("--port", raw.port, "Port; 0 for a free one")->type_name("PORT");
    const CLI::Option* scenario =
        app.add_option("--scenario", raw.scenario, "Answers, from a file")->type_name("FILE");
    CLI::Option* certificate =
        app.add_option("--certificate", raw.certificate, "Speak HTTPS with this certificate (PEM)")
            ->type_name("FILE");
    CLI::Option* key =
        app.add_option("--key", raw.key, "The private key to it (PEM)")->type_name("FILE");
    certificate->needs(key);
    key->needs(certificate);
    const CLI::Option* timeout =
        app.add_option("--timeout", raw.timeoutSeconds, "End after this time")
            ->check(CLI::Range(0.0, LONGEST_SECONDS).description(""))
            ->type_name("SECONDS");
    const std::vector<Choice> choices = addAnswer(app, raw);
    if (auto text = program::parse(app, argc, argv))
        return HelpCommand{std::move(*text)};
    for (const CLI::Option* file : {scenario, static_cast<const CLI::Option*>(certificate),
                                    static_cast<const CLI::Option*>(key)})
        program::requireContent(*file);
    ServeCommand command;
    command.answers = answersOf(raw, choices);
    command.port = raw.port;
    command.tls = tlsOf(raw);
    if (timeout->count() > 0)
        command.timeout = std::chrono::milliseconds(
            static_cast<std::chrono::milliseconds::rep>(raw.timeoutSeconds * 1000));
    return command;
}

} // namespace faults
