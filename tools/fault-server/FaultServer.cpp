// SPDX-License-Identifier: Apache-2.0
#include "FaultServer.h"

#include "AnswerPlayer.h"
#include "text/Quote.h"

#include <utility>

namespace faults {

namespace {

Answer notFound() {
    Answer answer;
    answer.status = 404;
    answer.faults = " no answer for it";
    return answer;
}

} // namespace

FaultServer::FaultServer(std::vector<Answer> answers, Log log, std::uint16_t port,
                         std::optional<TlsWire::Settings> tls)
    : script_(std::move(answers))
    , log_(std::move(log))
    , server_([this](HttpServer::Exchange& exchange) { return serve(exchange); }, port,
              std::move(tls)) {}

HttpServer::Then FaultServer::serve(HttpServer::Exchange& exchange) {
    static const Answer NOT_FOUND = notFound();
    const HttpServer::Request& request = exchange.request();
    const Answer* answer = script_.next(request.target);
    AnswerPlayer player(answer != nullptr ? *answer : NOT_FOUND, exchange);
    if (log_)
        log_(quote(request.method + " " + request.target) + " " + player.description());
    return player.play();
}

} // namespace faults
