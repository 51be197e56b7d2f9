// SPDX-License-Identifier: Apache-2.0
#include "AnswerPlayer.h"

#include "ServerDigest.h"

#include <openssl/evp.h>

#include <algorithm>
#include <charconv>

namespace faults {

namespace {

using Then = HttpServer::Then;

constexpr const char* USUAL_BODY = "This is the fault server.\n";
constexpr const char* REDIRECTS_LEFT = "?redirects=";
constexpr const char* GZIP_HEADER = "\x1f\x8b\x08\0\0\0\0\0\0\x03";
constexpr std::size_t GZIP_HEADER_SIZE = 10;

std::string base64(const std::string& text) {
    std::string result((text.size() + 2) / 3 * 4 + 1, '\0');
    const int size = ::EVP_EncodeBlock(reinterpret_cast<unsigned char*>(result.data()),
                                       reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    result.resize(static_cast<std::size_t>(size));
    return result;
}

bool isAccepted(const Answer& answer, const HttpServer::Request& request) {
    if (!answer.challenge)
        return true;
    if (!answer.user)
        return false;
    const bool takesBasic = *answer.challenge != Challenge::DIGEST;
    const bool takesDigest = *answer.challenge != Challenge::BASIC;
    const std::string basic = "Basic " + base64(*answer.user + ":" + *answer.password);
    return (takesBasic && request.header("authorization") == basic) ||
           (takesDigest && ServerDigest(*answer.user, *answer.password).accepts(request));
}

bool hasBody(int status) {
    return status >= 200 && status != 204 && status != 304;
}

std::string lengthLine(const std::string& value) {
    return "Content-Length: " + value + "\r\n";
}

std::string lengthLines(Length length, std::size_t size) {
    constexpr std::size_t LIE = 100;
    switch (length) {
    case Length::LONGER:
        return lengthLine(std::to_string(size + LIE));
    case Length::SHORTER:
        return lengthLine(std::to_string(size / 2));
    case Length::NEGATIVE:
        return lengthLine("-1");
    case Length::TWICE:
        return lengthLine(std::to_string(size)) + lengthLine(std::to_string(size + LIE));
    case Length::NONE:
        return {};
    case Length::RIGHT:
        break;
    }
    return lengthLine(std::to_string(size));
}

} // namespace

AnswerPlayer::AnswerPlayer(const Answer& answer, HttpServer::Exchange& exchange)
    : answer_(answer), exchange_(exchange), isRefused_(!isAccepted(answer, exchange.request())) {}

std::string AnswerPlayer::description() const {
    return (saysNothing() ? "-" : std::to_string(status())) + answer_.faults;
}

Then AnswerPlayer::play() {
    if (saysNothing())
        return breakOff();
    if (!exchange_.pause(answer_.delay))
        return Then::Close;
    if (answer_.hasEndlessHeaders)
        return sendEndlessHeaders();
    const std::string content = body();
    if (!exchange_.send(head(content)))
        return Then::Close;
    if (exchange_.request().method == "HEAD")
        return Then::Keep;
    if (!sendBody(content))
        return Then::Close;
    if (answer_.end && *answer_.end->after <= content.size())
        return breakOff();
    return answer_.length == Length::RIGHT ? Then::Keep : Then::Close;
}

int AnswerPlayer::status() const {
    constexpr int OK = 200;
    constexpr int FOUND = 302;
    constexpr int UNAUTHORIZED = 401;
    if (isRefused_)
        return UNAUTHORIZED;
    // At the end of a chain the status of the redirects is over.
    if (answer_.chain)
        return isRedirect() ? answer_.status.value_or(FOUND) : OK;
    return answer_.status.value_or(isRedirect() ? FOUND : OK);
}

bool AnswerPlayer::isRedirect() const {
    return answer_.redirect || answer_.redirectsNowhere || answer_.loops || redirectsLeft() > 0;
}

std::uint64_t AnswerPlayer::redirectsLeft() const {
    if (!answer_.chain)
        return 0;
    const std::string& target = exchange_.request().target;
    std::uint64_t left = *answer_.chain;
    if (const auto at = target.find(REDIRECTS_LEFT); at != std::string::npos) {
        const char* begin = target.data() + at + std::string(REDIRECTS_LEFT).size();
        std::from_chars(begin, target.data() + target.size(), left);
    }
    return std::min(left, *answer_.chain);
}

std::string AnswerPlayer::location() const {
    if (answer_.redirect)
        return *answer_.redirect;
    const std::string& target = exchange_.request().target;
    if (answer_.loops)
        return target;
    return target.substr(0, target.find('?')) + REDIRECTS_LEFT +
           std::to_string(redirectsLeft() - 1);
}

std::string AnswerPlayer::body() const {
    if (!hasBody(status()))
        return {};
    const std::string content = answer_.body.value_or(USUAL_BODY);
    return answer_.gzip == Gzip::BROKEN ? std::string(GZIP_HEADER, GZIP_HEADER_SIZE) + content
                                        : content;
}

std::string AnswerPlayer::challenges() const {
    constexpr const char* BASIC = "WWW-Authenticate: Basic realm=\"fault-server\"\r\n";
    std::string digest =
        ServerDigest(answer_.user.value_or(""), answer_.password.value_or("")).challenge();
    switch (*answer_.challenge) {
    case Challenge::BASIC:
        return BASIC;
    case Challenge::DIGEST:
        return digest;
    case Challenge::BOTH:
        return digest + BASIC;
    case Challenge::UNKNOWN:
        return "WWW-Authenticate: Pigeon loft=\"fault-server\"\r\n";
    case Challenge::NONE:
        break;
    }
    return {};
}

std::string AnswerPlayer::head(const std::string& body) const {
    std::string text = "HTTP/1.1 " + std::to_string(status()) + " Fault-Server\r\n";
    if (isRefused_)
        text += challenges();
    else if (isRedirect() && !answer_.redirectsNowhere)
        text += "Location: " + location() + "\r\n";
    for (const std::string& header : answer_.headers)
        text += header + "\r\n";
    if (answer_.gzip != Gzip::NOT_ANNOUNCED)
        text += "Content-Encoding: gzip\r\n";
    if (hasBody(status()))
        text += lengthLines(answer_.length, body.size());
    return text + "\r\n";
}

Then AnswerPlayer::breakOff() {
    if (answer_.end->how == Break::How::SILENCE)
        exchange_.stall();
    else if (answer_.end->how == Break::How::RESET)
        exchange_.endByReset();
    return Then::Close;
}

Then AnswerPlayer::sendEndlessHeaders() {
    const std::string line = "X-Endless: " + std::string(1000, 'x') + "\r\n";
    bool isThere = exchange_.send("HTTP/1.1 " + std::to_string(status()) + " Fault-Server\r\n");
    while (isThere)
        isThere = exchange_.send(line);
    return Then::Close;
}

/// False when the client has gone.
bool AnswerPlayer::sendBody(const std::string& body) {
    constexpr std::uint64_t PIECES_A_SECOND = 10;
    const std::size_t end =
        answer_.end
            ? static_cast<std::size_t>(std::min<std::uint64_t>(*answer_.end->after, body.size()))
            : body.size();
    if (!answer_.rate)
        return exchange_.send(body.substr(0, end));
    const std::uint64_t piece = std::max<std::uint64_t>(*answer_.rate / PIECES_A_SECOND, 1);
    const std::chrono::milliseconds time(std::max<std::uint64_t>(piece * 1000 / *answer_.rate, 1));
    for (std::size_t sent = 0; sent < end;) {
        const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(piece, end - sent));
        if (!exchange_.send(body.substr(sent, size)) || !exchange_.pause(time))
            return false;
        sent += size;
    }
    return true;
}

} // namespace faults
