// SPDX-License-Identifier: Apache-2.0
#include "AnswerMembers.h"

#include "text/Quote.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <stdexcept>
#include <utility>

namespace faults {

namespace {

using Kind = AnswerMember::Kind;

constexpr std::uint64_t LARGEST_BODY = 64U << 20U;

[[noreturn]] void refuse(const std::string& sentence) {
    throw std::invalid_argument(sentence);
}

std::uint64_t numberOf(const std::string& text, std::uint64_t least, std::uint64_t most) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least || number > most)
        refuse(quote(text) + " is not a whole number from " + std::to_string(least) + " to " +
               std::to_string(most));
    return number;
}

constexpr std::uint64_t MANY = 1'000'000'000'000;

template <typename Value>
Value wordOf(const std::string& text, std::initializer_list<std::pair<const char*, Value>> known) {
    std::string words;
    for (const auto& [word, value] : known) {
        if (text == word)
            return value;
        words += (words.empty() ? "" : ", ") + std::string(word);
    }
    refuse(quote(text) + " is not one of " + words);
}

/// A text that may stand in a header.
const std::string& headerText(const std::string& text) {
    if (std::any_of(text.begin(), text.end(),
                    [](unsigned char letter) { return letter < 0x20 || letter == 0x7f; }))
        refuse("has a control character in it");
    return text;
}

void setBody(Answer& answer, std::string body) {
    if (answer.body)
        refuse("only one of body, file, html and size is possible");
    answer.body = std::move(body);
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string content;
    char piece[4096];
    while (file.read(piece, sizeof piece) || file.gcount() > 0) {
        content.append(piece, static_cast<std::size_t>(file.gcount()));
        if (content.size() > LARGEST_BODY)
            refuse(quote(path) + " is larger than 64 MiB");
    }
    if (!file.is_open() || file.bad())
        refuse(quote(path) + " cannot be read: " + std::strerror(errno));
    return content;
}

void becomeRedirect(const Answer& answer) {
    if (answer.redirect || answer.chain || answer.redirectsNowhere || answer.loops)
        refuse("only one of redirect, nowhere, loop and chain is possible");
}

void setEnd(Answer& answer, Break::How how, const std::string& after) {
    if (answer.end)
        refuse("only one of close, reset and silence is possible");
    answer.end =
        Break{how, after == "start" ? std::nullopt : std::optional(numberOf(after, 0, MANY))};
}

constexpr const char* HTML = "<!DOCTYPE html>\n<html><head><title>Sign in</title></head>"
                             "<body><h1>Please sign in</h1></body></html>\n";

std::vector<AnswerMember> makeMembers() {
    return {
        {"path", Kind::TEXT, "PATH", "Only for requests of this path",
         [](Answer& answer, const std::string& value) {
             if (!headerText(value).starts_with('/'))
                 refuse(quote(value) + " does not begin with a slash");
             answer.path = value;
         },
         false},
        {"times", Kind::NUMBER, "N", "Only for the first N requests; then others follow",
         [](Answer& answer, const std::string& value) { answer.times = numberOf(value, 1, MANY); },
         false},
        {"status", Kind::NUMBER, "CODE", "Status code (default: 200, or 302 for a redirect)",
         [](Answer& answer, const std::string& value) {
             answer.status = static_cast<int>(numberOf(value, 100, 999));
         },
         false},
        {"header", Kind::TEXTS, "NAME: VALUE", "A further header",
         [](Answer& answer, const std::string& value) {
             if (headerText(value).find(':') == std::string::npos)
                 refuse(quote(value) + " has no colon");
             answer.headers.push_back(value);
         },
         false},
        {"body", Kind::TEXT, "TEXT", "The body; empty: none (default: a line of text)",
         [](Answer& answer, const std::string& value) { setBody(answer, value); }, false},
        {"file", Kind::TEXT, "FILE", "The body is the content of this file",
         [](Answer& answer, const std::string& value) { setBody(answer, contentOf(value)); },
         false},
        {"size", Kind::NUMBER, "BYTES", "The body has so many bytes",
         [](Answer& answer, const std::string& value) {
             setBody(answer,
                     std::string(static_cast<std::size_t>(numberOf(value, 0, LARGEST_BODY)), 'x'));
         },
         true},
        {"html", Kind::FLAG, "", "The body is a page for people, in place of the file",
         [](Answer& answer, const std::string& /*value*/) {
             setBody(answer, HTML);
             answer.headers.emplace_back("Content-Type: text/html; charset=utf-8");
         },
         true},
        {"unauthorized", Kind::TEXT, "SCHEME",
         "401, with the challenge basic, digest, both, unknown (a scheme) or none",
         [](Answer& answer, const std::string& value) {
             answer.challenge = wordOf<Challenge>(value, {{"basic", Challenge::BASIC},
                                                          {"digest", Challenge::DIGEST},
                                                          {"both", Challenge::BOTH},
                                                          {"unknown", Challenge::UNKNOWN},
                                                          {"none", Challenge::NONE}});
         },
         true},
        {"user", Kind::TEXT, "NAME", "401 only to who does not give this user (default: to all)",
         [](Answer& answer, const std::string& value) { answer.user = value; }, false},
        {"password", Kind::TEXT, "TEXT", "The password to it",
         [](Answer& answer, const std::string& value) { answer.password = value; }, false},
        {"redirect", Kind::TEXT, "URL", "Redirect to there, whatever it is",
         [](Answer& answer, const std::string& value) {
             becomeRedirect(answer);
             answer.redirect = headerText(value);
         },
         false},
        {"nowhere", Kind::FLAG, "", "Redirect without saying where to",
         [](Answer& answer, const std::string& /*value*/) {
             becomeRedirect(answer);
             answer.redirectsNowhere = true;
         },
         true},
        {"loop", Kind::FLAG, "", "Redirect to the same URL",
         [](Answer& answer, const std::string& /*value*/) {
             becomeRedirect(answer);
             answer.loops = true;
         },
         true},
        {"chain", Kind::NUMBER, "N", "Redirect N times, then answer",
         [](Answer& answer, const std::string& value) {
             becomeRedirect(answer);
             answer.chain = numberOf(value, 1, 1'000'000);
         },
         true},
        {"delay", Kind::SECONDS, "SECONDS", "Wait before the first byte",
         [](Answer& answer, const std::string& value) {
             answer.delay =
                 std::chrono::milliseconds(static_cast<std::int64_t>(std::stod(value) * 1000));
         },
         true},
        {"rate", Kind::NUMBER, "BYTES", "Bytes of the body a second",
         [](Answer& answer, const std::string& value) { answer.rate = numberOf(value, 1, MANY); },
         true},
        {"close", Kind::PLACE, "BYTES", "Close the connection after so many bytes of the body",
         [](Answer& answer, const std::string& value) { setEnd(answer, Break::How::CLOSE, value); },
         true},
        {"reset", Kind::PLACE, "BYTES", "Reset the connection there",
         [](Answer& answer, const std::string& value) { setEnd(answer, Break::How::RESET, value); },
         true},
        {"silence", Kind::PLACE, "BYTES", "Say nothing more from there on",
         [](Answer& answer, const std::string& value) {
             setEnd(answer, Break::How::SILENCE, value);
         },
         true},
        {"length", Kind::TEXT, "LIE",
         "Content-Length is longer, shorter, negative, twice (two of them) or none",
         [](Answer& answer, const std::string& value) {
             answer.length = wordOf<Length>(value, {{"longer", Length::LONGER},
                                                    {"shorter", Length::SHORTER},
                                                    {"negative", Length::NEGATIVE},
                                                    {"twice", Length::TWICE},
                                                    {"none", Length::NONE}});
         },
         true},
        {"gzip", Kind::TEXT, "LIE",
         "The body is announced as gzip and is plain, or broken after the gzip header",
         [](Answer& answer, const std::string& value) {
             answer.gzip = wordOf<Gzip>(value, {{"plain", Gzip::PLAIN}, {"broken", Gzip::BROKEN}});
         },
         true},
        {"endless-headers", Kind::FLAG, "", "Headers that never end",
         [](Answer& answer, const std::string& /*value*/) { answer.hasEndlessHeaders = true; },
         true},
    };
}

} // namespace

const std::vector<AnswerMember>& answerMembers() {
    static const std::vector<AnswerMember> members = makeMembers();
    return members;
}

void setMember(Answer& answer, const AnswerMember& member, const std::string& value) {
    member.set(answer, value);
    if (member.isShown)
        answer.faults += " " + member.name + (member.kind == Kind::FLAG ? "" : "=" + value);
}

} // namespace faults
